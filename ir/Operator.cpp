#include "ir/Operator.hpp"

#include "ir/BuiltinType.hpp"
#include "ir/Constant.hpp"
#include "ir/Context.hpp"
#include "ir/detail/Cloning.hpp"
#include "ir/detail/Equivalence.hpp"
#include "ir/detail/HandleCache.hpp"
#include "ir/detail/Printing.hpp"
#include "ir/detail/Resolution.hpp"
#include "util/Assertion.hpp"

namespace sxir {

namespace {

constexpr bool sameText(char const* a, char const* b)
{
    return *a == *b && (*a == '\0' || sameText(a + 1, b + 1));
}

struct OperationInfo {
    char const* name;
    char const* symbol;
    unsigned long operands;
    bool native; // the name is not "DUMMY"
    // The text before the operands, between them and after them.
    std::string_view pieces[3];
};

constexpr OperationInfo makeInfo(char const* name, char const* symbol, unsigned long operands,
                                 char const* const (&pieces)[3])
{
    return OperationInfo{name,
                         symbol,
                         operands,
                         !sameText(name, "DUMMY"),
                         {std::string_view(pieces[0]), std::string_view(pieces[1]), std::string_view(pieces[2])}};
}

// Binary native operators are always parenthesised, unary ones never; elementary
// functions print as calls.
constexpr OperationInfo sOperations[OpId::Count] = {
#define SXIR_NATIVE_UNARY(id, symbol, op) makeInfo(#id, symbol, 1, {symbol, "", ""}),
#define SXIR_NATIVE_BINARY(id, symbol, op) makeInfo(#id, symbol, 2, {"(", symbol, ")"}),
#define SXIR_FUNCTION_UNARY(id, name) makeInfo("DUMMY", #name, 1, {#name "(", ")", ""}),
#define SXIR_FUNCTION_BINARY(id, name) makeInfo("DUMMY", #name, 2, {#name "(", ",", ")"}),
#include "ir/Operations.def"
};

OperationInfo const& info(OpId::Type op)
{
    SXU_CHECK(op < OpId::Count, "operation id out of range");
    return sOperations[op];
}

} // namespace

char const* Operator::getName(OpId::Type op)
{
    return info(op).name;
}

char const* Operator::getSymbol(OpId::Type op)
{
    return info(op).symbol;
}

unsigned long Operator::getNumOperands(OpId::Type op)
{
    return info(op).operands;
}

bool Operator::isNative(OpId::Type op)
{
    return info(op).native;
}

std::string_view Operator::getTextPiece(OpId::Type op, unsigned long piece)
{
    return info(op).pieces[piece];
}

// The operation was checked when the node was built.
unsigned long Operator::getNumOperands() const
{
    return sOperations[mOp].operands;
}

bool Operator::isNative() const
{
    return sOperations[mOp].native;
}

Operator::Operator(OpId::Type op, Expression const& operand) : ExpressionDataShim(operand.getContext()), mOp(op)
{
    SXU_CHECK(getNumOperands(op) == 1, "a unary operator form for an operation that is not unary");
    // An operation of two operands built from this form gets the int32 constant 0 as its second.
    if (getNumOperands() == 2) {
        mOperands[1] = new ScalarConstant<int>(getContext(), 0);
    }
    mOperands[0] = operand.getData()->getReference();
}

Operator::Operator(OpId::Type op, Expression const& left, Expression const& right)
    : ExpressionDataShim(left.getContext()), mOp(op)
{
    SXU_CHECK(getNumOperands(op) == 2, "a binary operator form for an operation that is not binary");
    mOperands[0] = left.getData()->getReference();
    if (getNumOperands() == 2) {
        mOperands[1] = right.getData()->getReference();
    }
}

Operator::Operator(Context const& context, OpId::Type op) : ExpressionDataShim(context), mOp(op)
{
    SXU_CHECK(op < OpId::Count, "operation id out of range");
    try {
        initializeOperands();
    } catch (...) {
        detail::HandleCache::release(mHandles, mOperands, 2);
        throw;
    }
}

Operator::Operator(Context const& context, OpId::Type op, ExpressionData* const* operands)
    : ExpressionDataShim(context), mOp(op)
{
    for (unsigned long i = 0; i < getNumOperands(); ++i) {
        mOperands[i] = operands[i]->getReference();
    }
}

Operator::~Operator()
{
    detail::HandleCache::release(mHandles, mOperands, 2);
}

Expression const& Operator::getOperand(unsigned long position) const
{
    SXU_CHECK(position < getNumOperands(), "operand position out of range");
    return detail::HandleCache::view(mHandles, 2, position, *mOperands[position]);
}

void Operator::setOperand(unsigned long position, Expression const& operand)
{
    SXU_CHECK(position < getNumOperands(), "operand position out of range");
    detail::HandleCache::set(mHandles, position, mOperands[position], *operand.getData());
}

void Operator::initializeOperands()
{
    // Each new constant is held before the next is made, so a failure leaves nothing behind.
    for (unsigned long i = 0; i < getNumOperands(); ++i) {
        Expression const zero(getContext(), 0);
        setOperand(i, zero);
    }
}

Function const* Operator::resolveFunction() const
{
    return detail::resolveFunction(*this);
}

Type const* Operator::getGenericType() const
{
    return isNative() ? nullptr : &getContext().getBuiltinType(sxu::DataTypeId::Real);
}

sxu::string Operator::asString() const
{
    return detail::textOf(*this);
}

ExpressionData* Operator::clone(Function const& target) const
{
    return detail::cloneExpression(*this, target);
}

bool Operator::localIsEquivalent(Operator const& other) const
{
    return detail::equivalent(*this, other);
}

} // namespace sxir
