// sxir::Operator: every native operator and elementary function, as one node class over OpId.
#pragma once

#include "ir/Expression.hpp"
#include "ir/ExpressionData.hpp"
#include "ir/OpId.hpp"

namespace sxir {

namespace detail {
class HandleCache;
} // namespace detail

class SXIR_API Operator final : public ExpressionDataShim<Operator> {
public:
    static constexpr ExpressionDataType::Type sExpressionDataType = ExpressionDataType::Operator;

    /// A unary operation; node in the operand's context.
    Operator(OpId::Type op, Expression const& operand);
    /// A binary operation; node in the left operand's context.
    Operator(OpId::Type op, Expression const& left, Expression const& right);
    /// An operation whose operands are all the int32 constant 0 until set.
    Operator(Context const& context, OpId::Type op);
    ~Operator() override;

    OpId::Type getOp() const { return mOp; }
    /// The operation's operand count.
    unsigned long getNumOperands() const;
    Expression const& getOperand(unsigned long position) const;
    void setOperand(unsigned long position, Expression const& operand);
    /// Makes every operand a new int32 constant 0.
    void initializeOperands();
    /// True for the 14 operators, false for the 16 elementary functions.
    bool isNative() const;

    // The operation tables.
    /// The enumerator name of a native operation, "DUMMY" for an elementary function.
    static char const* getName(OpId::Type op);
    /// The printed symbol ("+", "~", "||") or function name ("sqrt").
    static char const* getSymbol(OpId::Type op);
    static unsigned long getNumOperands(OpId::Type op);
    static bool isNative(OpId::Type op);

    Function const* resolveFunction() const override;
    /// Null for a native operator; real_T for an elementary function.
    Type const* getGenericType() const override;
    bool isLValue() const override { return false; }
    /// "(a+b)", "-x", "sqrt(x)", "pow(a,b)": no blanks, no precedence.
    sxu::string asString() const override;
    ExpressionData* clone(Function const& target) const override;
    bool localIsEquivalent(Operator const& other) const override;

protected:
    unsigned long getNumSubExpressions() const override;
    ExpressionData const* getSubExpression(unsigned long position) const override;
    unsigned long openText(detail::TextSink& out) const override;
    void appendText(detail::TextSink& out, unsigned long piece) const override;
    unsigned long compareLocally(ExpressionData const& other) const override;
    std::size_t hashLocally() const override { return 0x100 + mOp; }
    ExpressionData* rebuild(Function const& target, ExpressionData* const* clonedSubExpressions) const override;

private:
    Operator(Context const& context, OpId::Type op, ExpressionData* const* operands);

    OpId::Type mOp;
    // Counted references to the operands; the handles getOperand returns are made on demand.
    ExpressionData* mOperands[2] = {};
    mutable detail::HandleCache* mHandles = nullptr;
};

} // namespace sxir
