// What the emission of one C source shares between its function bodies: the names and forms of
// what the source declares at file scope, the helpers it calls, and what it still has to define.
#pragma once

#include "ir/detail/CElements.hpp"
#include "ir/detail/CNames.hpp"
#include "ir/detail/CTypes.hpp"

#include <deque>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace sxir {

class Function;
class Module;
class Variable;

namespace detail {

/// Something the source defines at file scope once a function body uses it: a module
/// variable, a function of another module, an adapter that runs a function through a
/// function type of another form, a conversion of function values between two types, or a
/// call through a function value whose operands have other forms than the type's inputs.
struct CItem {
    enum Kind : unsigned char { Variable, Function, Adapter, Cast, Dispatch };
    Kind kind;
    std::string name;
    bool used = false;
    CShape shape;                              ///< Variable: its form
    sxir::Variable const* variable = nullptr;  ///< Variable
    sxir::Function const* function = nullptr;  ///< Function, Adapter: the function run
    unsigned key = 0;                          ///< Function: its key; Adapter, Dispatch: the type's; Cast: to
    unsigned from = 0;                         ///< Cast: the key converted from; Adapter: the function's item
    bool own = false;                          ///< Function: of the emitted module's own scope
    std::vector<CShape> operands;              ///< Dispatch: the forms of the operands, then of the value
};

/// The state of one source being written.
class CSource {
public:
    /// Names the module's own functions and variables.
    explicit CSource(Module const& module) : mModule(module) { nameOwnItems(); }

    Module const& module() const { return mModule; }
    CSignatures& signatures() { return mSignatures; }
    CNameTable& names() { return mNames; }
    /// The helpers and <string.h> functions called by what was committed.
    CHelperSet& helpers() { return mHelpers; }
    bool& usesStringFunctions() { return mStringFunctions; }

    /// The item of module variable `variable`, named (in the file's names, also avoiding
    /// `scope`) when first asked for.
    unsigned variableItem(Variable const& variable, CNameTable const* scope);
    /// The item of `function`, or ~0u when C cannot define it (a function of another
    /// context, or without a signature). A function of the module's own scope is named
    /// first, as the header declares it.
    unsigned functionItem(Function const& function, CNameTable const* scope);
    /// The item of a function of type `key` that runs function item `function` (an adapter,
    /// or that function itself when its key is `key`).
    unsigned functionAs(unsigned function, unsigned key);
    /// The item that converts function values of type `from` to type `to`.
    unsigned cast(unsigned from, unsigned to);
    /// The item that calls a function value of type `key` with operands of forms `operands` and
    /// gives its value in form `result`.
    unsigned dispatch(unsigned key, std::vector<CShape> const& operands, CShape const& result);

    CItem& item(unsigned index) { return mItems[index]; }
    /// The declarator of an adapter, cast or dispatch item: its prototype without the ';'.
    std::string head(CItem const& item) const;
    /// The definition of an adapter, cast or dispatch item, with a comment line above it;
    /// what it uses is marked used.
    std::string define(unsigned index);
    /// Marks the item used; a newly used one that has a definition to write is queued.
    void use(unsigned index);
    /// The next item whose definition is still to be written (FIFO), or false.
    bool nextToDefine(unsigned& index);
    bool hasPending() const { return !mQueue.empty(); }
    std::vector<CItem> const& items() const { return mItems; }

private:
    unsigned add(CItem item);
    void nameOwnItems();
    std::string defineAdapter(CItem const& item);
    std::string defineCast(CItem const& item);
    std::string defineDispatch(CItem const& item);
    /// The call of `function` (an item) with operands named `operands` of forms `forms`, its
    /// last output converted into `result` of form `last`: the statements, or false when
    /// such a call fails in a run.
    bool callConverted(unsigned function, std::vector<CShape> const& forms, std::vector<std::string> const& operands,
                       CShape const& last, std::string const& result, std::string& body);
    /// The statements that call `callee`, of `signature`, with `operands` of forms `forms` converted
    /// as it takes them, and store its last output, converted to `last`, through `result`.
    void callAndConvert(std::string const& callee, CSignature const& signature, std::vector<CShape> const& forms,
                        std::vector<std::string> const& operands, CShape const& last, std::string const& result,
                        std::string& body);
    /// `text`, a value of form `from`, as an argument of form `to`: its text, or a temporary
    /// `name` filled by statements appended to `body`.
    std::string convertArgument(CShape const& from, std::string const& text, CShape const& to,
                                std::string const& name, std::string& body);

    Module const& mModule;
    CSignatures mSignatures;
    CNameTable mNames;
    CHelperSet mHelpers = 0;
    bool mStringFunctions = false;
    std::vector<CItem> mItems;
    std::unordered_map<void const*, unsigned> mByObject;             ///< variables and functions
    std::unordered_map<std::string, unsigned> mByForm;               ///< adapters, casts, dispatches
    std::deque<unsigned> mQueue;
    unsigned mAdapters = 0;
    unsigned mDispatches = 0;
};

/// Whether `function` has a C function: a signature, and only variables in its input and
/// output scopes.
bool hasCFunction(Function const& function);

/// The names and forms of a function's parameters: inputs in order, then outputs.
struct CParameter {
    std::string name;
    CShape shape;
    bool output;
};

/// Parameters of `function`, named in `names` (a function's own table): the inputs take
/// their names first, so an output named like an input gets a suffix.
std::vector<CParameter> nameParameters(CSource& source, Function const& function, CNameTable& names);

/// Appends to `out` the definition of `function` under the C name `name`, with the parameters
/// `parameters` named in `names`: its locals, the zeroing of its outputs, and its body.
void emitDefinition(CSource& source, Function const& function, std::string const& name,
                    std::vector<CParameter> const& parameters, CNameTable& names, std::string& out);

} // namespace detail
} // namespace sxir
