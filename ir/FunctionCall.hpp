// sxir::FunctionCall and sxir::FunctionCallBuilder: a function-valued expression applied to operands.
#pragma once

#include "ir/Expression.hpp"
#include "ir/ExpressionData.hpp"
#include "util/Vector.hpp"

#include <memory>

namespace sxir {

class FunctionSignature;
class Variable;

class SXIR_API FunctionCall final : public ExpressionDataShim<FunctionCall> {
public:
    static constexpr ExpressionDataType::Type sExpressionDataType = ExpressionDataType::FunctionCall;

    /// A call of `function` (typed by a signature, normally a function reference)
    /// with one unset operand per input.
    explicit FunctionCall(Expression const& function);
    ~FunctionCall() override;

    /// The function-valued expression called.
    Expression const& getFunction() const { return mFunction; }
    /// The same, under the name the other selections use.
    Expression const& getExpression() const { return mFunction; }
    /// The call's own copy of the called signature.
    FunctionSignature const& getSignature() const { return *mSignature; }
    unsigned long getNumOperands() const { return mOperands.size(); }
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
    bool localIsEquivalent(FunctionCall const& other) const override;

protected:
    unsigned long getNumSubExpressions() const override { return 1 + mOperands.size(); }
    ExpressionData const* getSubExpression(unsigned long position) const override;
    unsigned long getFirstResolvingSubExpression() const override;
    unsigned long openText(detail::TextSink&) const override { return 1 + mOperands.size(); }
    void appendText(detail::TextSink& out, unsigned long piece) const override;
    unsigned long compareLocally(ExpressionData const& other) const override;
    std::size_t hashLocally() const override { return 0x200 + mOperands.size(); }
    ExpressionData* rebuild(Function const& target, ExpressionData* const* clonedSubExpressions) const override;

private:
    std::unique_ptr<FunctionSignature> mSignature;
    Variable const* mResult = nullptr;
    Expression mFunction;
    sxu::vector<std::unique_ptr<Expression>> mOperands;
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
