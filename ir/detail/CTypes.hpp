// How the emitted C holds values of each IR type, and the C types of function values, one per signature shape.
#pragma once

#include "ir/detail/Elements.hpp"

#include <string>
#include <unordered_map>
#include <vector>

namespace sxir {

class Function;
class Scope;
class Type;

namespace detail {

/// How C holds a value: a scalar of an element type, an array of `rows` x `columns`
/// elements (column-major), a pointer to a function of the C type numbered `key`, or
/// nothing, for a type no value has (a matrix of functions or of matrices).
struct CShape {
    enum Kind : unsigned char { None, Scalar, Array, Function };
    Kind kind = None;
    DataType type = sxu::DataTypeId::Boolean;
    unsigned long rows = 1;
    unsigned long columns = 1;
    unsigned key = 0;

    /// Elements, as the interpreter counts them: one for a scalar or a function.
    unsigned long count() const { return kind == Array ? rows * columns : 1; }
    bool isNumber() const { return kind == Scalar || kind == Array; }
    /// The same C form, as keys compare parameters: kind, element type, element count, key.
    bool sameForm(CShape const& other) const
    {
        return kind == other.kind && (kind == None || (type == other.type && count() == other.count())) &&
               key == other.key;
    }
};

/// The parameters of a C function type, inputs first.
struct CSignature {
    std::vector<CShape> inputs;
    std::vector<CShape> outputs;
    std::string typedefName;   ///< "sxir_fn_<key>"
    std::string parameters;    ///< the parameter types, with typedef names for function types
    std::string inlineParameters; ///< the same without typedef names, for the header
    std::string description;   ///< the IR signature text it was first made from, for a comment
};

/// The C types of the function values of one source, numbered from 1 in the order they are
/// first met (a type's parameters before it); 0 stands for no C function. Signatures with
/// parameters of the same forms share a key, whatever their names.
class CSignatures {
public:
    CSignatures();

    /// The C form of a value of `type`.
    CShape shapeOf(Type const& type);
    /// The key of `function`'s signature (inputs and outputs as its scopes hold them).
    unsigned keyOf(Function const& function);
    CSignature const& signature(unsigned key) const { return mSignatures[key]; }
    /// Notes that the source names the typedef of `key`.
    void named(unsigned key) const
    {
        mNamed.resize(mSignatures.size());
        mNamed[key] = true;
    }
    /// One typedef per key that a parameter or object of the source names, with the keys
    /// their parameters name, in key order (each after those it names).
    std::string typedefs() const;

    /// A parameter declaration of form `shape` named `name`, in a prototype: "real_T a",
    /// "const real_T a[6]", "real_T *b", "sxir_fn_2 *h"; with `header`, function types are
    /// written out ("void (*h)(real_T, real_T *)") instead of named by their typedefs.
    std::string parameter(CShape const& shape, bool output, std::string const& name, bool header) const;
    /// The declaration of an object of form `shape` named `name`, with no initializer and no
    /// ';': "real_T x", "real_T x[6]", "sxir_fn_2 x" (an array of no elements takes one).
    std::string object(CShape const& shape, std::string const& name) const;

private:
    /// Keys of the signature types met inside `inputs` and `outputs` first, without recursion.
    unsigned keyOfScopes(Scope const& inputs, Scope const& outputs, std::string const& description);
    unsigned registerKey(CSignature signature);
    /// The form of a parameter type whose signature types all have keys already.
    CShape shapeOfKnown(Type const& type) const;

    std::vector<CSignature> mSignatures; ///< by key; key 0 is none
    std::unordered_map<std::string, unsigned> mByForm;
    std::unordered_map<Type const*, unsigned> mByType;
    mutable std::vector<bool> mNamed; ///< by key: a typedef name was written
};

} // namespace detail
} // namespace sxir
