// sxir::ExpressionData and sxir::ExpressionDataShim<T>: reference-counted expression nodes.
#pragma once

#include "ir/IrObject.hpp"
#include "util/ExactType.hpp"
#include "util/String.hpp"

#include <cstddef>
#include <type_traits>
#include <typeinfo>

namespace sxir {

class Expression;
class Function;
class Type;

namespace detail {
class ExpressionWalk;
class TextSink;
} // namespace detail

/// The kind of a node, as getExpressionDataType() answers it.
struct ExpressionDataType {
    enum Type {
        Constant = 0,
        VariableRef = 1,
        Operator = 2,
        FunctionRef = 3,
        FunctionCall = 4,
        MatrixRef = 5,
        SubMatrix = 6,
        Custom = 7,
    };
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
    /// Removes a holder; the last one destroys the node (and, without recursion, what only it held).
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

protected:
    friend class detail::ExpressionWalk;

    // The library walks expressions of any depth with explicit stacks instead of
    // recursion. A node kind describes itself to those walks through the hooks
    // below; one that keeps the defaults (as client kinds do) is a leaf to them
    // and is printed, compared and cloned through its own virtual operations.

    /// The sub-expressions, in printing and comparison order.
    virtual unsigned long getNumSubExpressions() const { return 0; }
    /// The node of sub-expression `position`, or null for an unset call operand.
    virtual ExpressionData const* getSubExpression(unsigned long) const { return nullptr; }
    /// Function resolution takes the first sub-expression from here on that resolves.
    virtual unsigned long getFirstResolvingSubExpression() const { return 0; }
    /// Appends the text that comes before the first sub-expression (all of it, for a
    /// leaf) and returns the number of sub-expressions.
    virtual unsigned long openText(detail::TextSink& out) const;
    /// Appends the text that follows sub-expression `piece - 1`.
    virtual void appendText(detail::TextSink&, unsigned long) const {}
    /// Returned by compareLocally when the nodes differ.
    static constexpr unsigned long sDifferent = ~0ul;
    /// The node's own part of equivalence (same class and same fields, sub-expressions
    /// aside): sDifferent, or the number of sub-expressions still to compare.
    virtual unsigned long compareLocally(ExpressionData const& other) const
    {
        return isEquivalent(other) ? 0 : sDifferent;
    }
    /// The node's own part of a structural hash: equivalent nodes give equal values.
    virtual std::size_t hashLocally() const { return static_cast<std::size_t>(getExpressionDataType()); }
    /// A new node for `target` over the already cloned sub-expressions (null for an unset one).
    virtual ExpressionData* rebuild(Function const& target, ExpressionData* const* clonedSubExpressions) const;

private:
    friend class Expression;

    // While the node lives it holds its count; once the count is zero, the link
    // in the list of nodes waiting for destruction.
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
        return same != nullptr && self().localIsEquivalent(*same);
    }
    ExpressionDataType::Type getExpressionDataType() const final { return T::sExpressionDataType; }

    virtual bool localIsEquivalent(T const& other) const = 0;

protected:
    /// This node as its concrete class, so that a final T's own operations are called directly.
    T const& self() const { return static_cast<T const&>(*this); }

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
