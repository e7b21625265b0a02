// sxir::Operator: every native operator and elementary function, as one node class over OpId.
#pragma once

#include "ir/Expression.hpp"
#include "ir/ExpressionData.hpp"
#include "ir/OpId.hpp"

#include <string_view>
#include <tuple>

namespace sxir {

namespace detail {
class HandleCache;
struct NodeAccess;
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
    /// The printed text before the operands (`piece` 0), between them (1) and after them (2).
    static std::string_view getTextPiece(OpId::Type op, unsigned long piece);

    Function const* resolveFunction() const override;
    /// Null for a native operator; real_T for an elementary function.
    Type const* getGenericType() const override;
    bool isLValue() const override { return false; }
    /// "(a+b)", "-x", "sqrt(x)", "pow(a,b)": no blanks, no precedence.
    sxu::string asString() const override;
    ExpressionData* clone(Function const& target) const override;
    bool localIsEquivalent(Operator const& other) const override;

private:
    friend struct detail::NodeAccess;

    /// Over already built operands, one reference added to each.
    Operator(Context const& context, OpId::Type op, ExpressionData* const* operands);
    /// The node's own fields, compared before the operands; equivalence and the hash follow from them.
    auto fields() const { return std::tie(mOp); }

    OpId::Type mOp;
    // Counted references to the operands; the handles getOperand returns are made on demand.
    ExpressionData* mOperands[2] = {};
    mutable detail::HandleCache* mHandles = nullptr;
};

} // namespace sxir
