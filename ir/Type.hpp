// sxir::Type and sxir::TypeShim<T>: the type protocol shared by builtin, matrix and signature types.
#pragma once

#include "ir/Base.hpp"
#include "util/DataTypeId.hpp"
#include "util/Dimension.hpp"
#include "util/ExactType.hpp"
#include "util/String.hpp"

#include <type_traits>
#include <typeinfo>

namespace sxir {

/// The kind of a type, as getTypeId() answers it.
struct TypeId {
    enum Type { Builtin = 0, FunctionSignature = 1, Matrix = 2 };
};

class SXIR_API Type : public Base {
public:
    explicit Type(Context const& context) : Base(context) {}
    ~Type() override;

    virtual TypeId::Type getTypeId() const = 0;
    /// The declaration text of something named `name` of this type ("real_T x", "real_T A[3x4]").
    virtual sxu::string asString(sxu::string const& name) const = 0;
    virtual sxu::Dimension const& getDimension() const = 0;
    virtual bool isScalar() const = 0;
    /// The scalar element type.
    virtual Type const& getBaseType() const = 0;
    /// True only for a builtin type of exactly that data type.
    virtual bool isBuiltinType(sxu::DataTypeId::Type id) const = 0;
    /// May be the element type of a matrix.
    virtual bool isArrayable() const = 0;
    virtual bool isIndexable() const = 0;
    /// Structural equivalence, never identity; holds across contexts.
    virtual bool operator==(Type const& other) const = 0;
    bool operator!=(Type const& other) const { return !(*this == other); }
    /// A copy in the same context, owned by the caller.
    virtual Type* clone() const = 0;
    /// A copy bound to `context`, owned by the caller.
    virtual Type* clone(Context const& context) const = 0;

protected:
    /// The one process-wide 1 by 1 dimension of scalar types.
    static sxu::Dimension const& scalarDimension();
};

/// The kind query, equivalence test and cloning of the concrete type T, written once.
template <class T>
class TypeShim : public Type {
public:
    using Type::Type;

    TypeId::Type getTypeId() const override { return T::sTypeId; }

    bool operator==(Type const& other) const override
    {
        static_assert(std::is_final<T>::value, "the class check relies on T being final");
        if (!sxu::hasExactType<T>(other)) {
            return false;
        }
        return static_cast<T const&>(*this).localIsEquivalent(static_cast<T const&>(other));
    }

    Type* clone() const override { return new T(static_cast<T const&>(*this)); }
    Type* clone(Context const& context) const override { return new T(context, static_cast<T const&>(*this)); }

    virtual bool localIsEquivalent(T const& other) const = 0;
};

} // namespace sxir
