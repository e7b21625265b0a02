// sxir::ExpressionData and sxir::ExpressionDataShim<T>: reference-counted expression nodes.
#pragma once

#include "ir/IrObject.hpp"
#include "util/ExactType.hpp"
#include "util/String.hpp"

#include <type_traits>
#include <typeinfo>

namespace sxir {

class Expression;
class Function;
class Type;

namespace detail {
struct NodeAccess;
class Lifetime;
} // namespace detail

/// The kind of a node, as getExpressionDataType() answers it.
struct ExpressionDataType {
    enum Type {
#define SXIR_EXPRESSION_KIND(kind, value, nodeClass) kind = value,
#include "ir/ExpressionKinds.def"
    };
    static constexpr unsigned long Count = Custom + 1;
};

/// A node of an expression tree, shared by the handles that hold it. A new node
/// counts one holder, its creator; it deletes itself when the last one releases it.
class SXIR_API ExpressionData : public IrObject {
public:
    explicit ExpressionData(Context const& context) : IrObject(context), mCount(1) {}
    ~ExpressionData() override;

    /// Adds a holder and returns this node.
    ExpressionData* getReference() const
    {
        ++mCount;
        return const_cast<ExpressionData*>(this);
    }
    /// Removes a holder; the last one destroys the node, and what only it held, innermost first.
    void releaseReference();
    long getReferenceCount() const { return mCount; }

    /// The function this expression belongs to, or null.
    virtual Function const* resolveFunction() const = 0;
    /// Structural equivalence.
    virtual bool isEquivalent(ExpressionData const& other) const = 0;
    /// The node's type, or null when it has none.
    virtual Type const* getGenericType() const = 0;
    virtual ExpressionDataType::Type getExpressionDataType() const = 0;
    /// May stand on the left of an assignment.
    virtual bool isLValue() const = 0;
    virtual sxu::string asString() const = 0;
    /// The expression rebuilt for `target`: declarations re-resolved by name there,
    /// new nodes in its context. Count 1, owned by the caller.
    virtual ExpressionData* clone(Function const& target) const = 0;

private:
    friend class detail::Lifetime;

    // While the node lives it holds its count; once it is waiting for destruction,
    // the link in the list of such nodes.
    union {
        mutable long mCount;
        ExpressionData* mNextDead;
    };
};

/// The kind query and the "same class, then compare locally" test of node class T, written once.
template <class T>
class ExpressionDataShim : public ExpressionData {
public:
    using ExpressionData::ExpressionData;

    bool isEquivalent(ExpressionData const& other) const final
    {
        T const* same = asSameClass(other);
        return same != nullptr && static_cast<T const&>(*this).localIsEquivalent(*same);
    }
    ExpressionDataType::Type getExpressionDataType() const final { return T::sExpressionDataType; }

    virtual bool localIsEquivalent(T const& other) const = 0;

    /// `other` as a T, or null when its run-time class is not T.
    static T const* asSameClass(ExpressionData const& other)
    {
        if constexpr (std::is_final<T>::value) {
            return sxu::hasExactType<T>(other) ? static_cast<T const*>(&other) : nullptr;
        } else {
            return dynamic_cast<T const*>(&other);
        }
    }
};

} // namespace sxir
