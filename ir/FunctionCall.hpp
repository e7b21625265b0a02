// sxir::FunctionCall and sxir::FunctionCallBuilder: a function-valued expression applied to operands.
#pragma once

#include "ir/Expression.hpp"
#include "ir/ExpressionData.hpp"

#include "util/Vector.hpp"
#include <tuple>

#include <memory>

namespace sxir {

class FunctionSignature;
class Variable;

namespace detail {
class HandleCache;
struct NodeAccess;
} // namespace detail

class SXIR_API FunctionCall final : public ExpressionDataShim<FunctionCall> {
public:
    static constexpr ExpressionDataType::Type sExpressionDataType = ExpressionDataType::FunctionCall;

    /// A call of `function` (typed by a signature, normally a function reference)
    /// with one unset operand per input.
    explicit FunctionCall(Expression const& function);
    /// Destroys the signature copy, then lets go of the function and of the operands in order.
    ~FunctionCall() override;

    /// The function-valued expression called.
    Expression const& getFunction() const;
    /// The same, under the name the other selections use.
    Expression const& getExpression() const { return getFunction(); }
    /// The call's own copy of the called signature.
    FunctionSignature const& getSignature() const { return *mSignature; }
    unsigned long getNumOperands() const { return mParts.size() - 1; }
    /// The operand at `position`, or null while unset.
    Expression const* getOperand(unsigned long position) const;
    void setOperand(unsigned long position, Expression const& operand);

    /// What the last operand resolves to (null while it is unset); the others and
    /// the function expression do not count.
    Function const* resolveFunction() const override;
    /// The type of the last output; null when there is none.
    Type const* getGenericType() const override;
    bool isLValue() const override { return false; }
    /// "f(a,b)"; an unset operand prints "(nil)".
    sxu::string asString() const override;
    ExpressionData* clone(Function const& target) const override;
    /// Equivalent function expressions, then equivalent operands at each position below
    /// this call's operand count (an operand the other call lacks counts as unset).
    bool localIsEquivalent(FunctionCall const& other) const override;

private:
    friend struct detail::NodeAccess;

    /// No fields of its own: equivalence and the hash follow from the sub-expressions alone.
    auto fields() const { return std::tie(); }
    std::unique_ptr<FunctionSignature> mSignature;
    Variable const* mResult = nullptr;
    // Counted references to the function expression, then to the operands (null while
    // unset); the handles the accessors return are made on demand.
    sxu::vector<ExpressionData*> mParts;
    mutable detail::HandleCache* mHandles = nullptr;
};

/// Collects operands with << and makes the call: `Expression y = f << a << b;`.
class SXIR_API FunctionCallBuilder : public IrObject {
public:
    explicit FunctionCallBuilder(Expression const& function);
    FunctionCallBuilder(FunctionCallBuilder const& other);
    ~FunctionCallBuilder() override;

    /// Appends `operand`; returns the builder, so calls chain.
    FunctionCallBuilder& operator<<(Expression const& operand);
    /// Appends a plain number, made a constant in the builder's context.
    template <class T, detail::IfNumber<T> = 0>
    FunctionCallBuilder& operator<<(T operand)
    {
        return *this << Expression(getContext(), operand);
    }
    /// A new call whose first operands are the collected ones; count 1, owned by the caller.
    FunctionCall* createFunctionCall() const;

private:
    Expression mFunction;
    sxu::vector<Expression> mOperands;
};

/// A call builder on `function` with a plain number as its first operand, made a constant in `function`'s context.
template <class T, detail::IfNumber<T> = 0>
FunctionCallBuilder operator<<(Expression const& function, T argument)
{
    return function << Expression(function.getContext(), argument);
}

} // namespace sxir
