#include "ir/Operator.hpp"

#include "ir/BuiltinType.hpp"
#include "ir/Context.hpp"
#include "ir/Function.hpp"
#include "ir/detail/ExpressionWalk.hpp"
#include "ir/detail/TextSink.hpp"
#include "util/Assertion.hpp"

#include <string_view>


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
    return OperationInfo{name, symbol, operands, !sameText(name, "DUMMY"),
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

// The operation was checked when the node was built.
unsigned long Operator::getNumOperands() const
{
    return sOperations[mOp].operands;
}

bool Operator::isNative() const
{
    return sOperations[mOp].native;
}

unsigned long Operator::getNumSubExpressions() const
{
    return sOperations[mOp].operands;
}

Operator::Operator(OpId::Type op, Expression const& operand) : ExpressionDataShim(operand.getContext()), mOp(op)
{
    SXU_CHECK(getNumOperands(op) == 1, "a unary operator form for an operation that is not unary");
    // An operation of two operands built from this form gets the int32 constant 0 as its second.
    constructOperands([&](unsigned long position) { return position == 0 ? operand : Expression(getContext(), 0); });
}

Operator::Operator(OpId::Type op, Expression const& left, Expression const& right)
    : ExpressionDataShim(left.getContext()), mOp(op)
{
    SXU_CHECK(getNumOperands(op) == 2, "a binary operator form for an operation that is not binary");
    constructOperands([&](unsigned long position) { return position == 0 ? left : right; });
}

Operator::Operator(Context const& context, OpId::Type op) : ExpressionDataShim(context), mOp(op)
{
    SXU_CHECK(op < OpId::Count, "operation id out of range");
    constructOperands([&](unsigned long) { return Expression(context, 0); });
}

Operator::Operator(Context const& context, OpId::Type op, ExpressionData* const* operands)
    : ExpressionDataShim(context), mOp(op)
{
    constructOperands([&](unsigned long position) { return Expression(*operands[position]); });
}

template <class MakeOperand>
void Operator::constructOperands(MakeOperand makeOperand)
{
    unsigned long built = 0;
    try {
        for (; built < getNumOperands(); ++built) {
            new (&operands()[built]) Expression(makeOperand(built));
        }
    } catch (...) {
        while (built-- > 0) {
            operands()[built].~Expression();
        }
        throw;
    }
}

Operator::~Operator()
{
    destroyOperands();
}

void Operator::destroyOperands()
{
    for (unsigned long i = getNumOperands(); i-- > 0;) {
        operands()[i].~Expression();
    }
}

Expression const& Operator::getOperand(unsigned long position) const
{
    SXU_CHECK(position < getNumOperands(), "operand position out of range");
    return operands()[position];
}

void Operator::setOperand(unsigned long position, Expression const& operand)
{
    SXU_CHECK(position < getNumOperands(), "operand position out of range");
    operands()[position] = operand;
}

void Operator::initializeOperands()
{
    for (unsigned long i = 0; i < getNumOperands(); ++i) {
        operands()[i] = Expression(getContext(), 0);
    }
}

Function const* Operator::resolveFunction() const
{
    return detail::ExpressionWalk::resolveFunction(*this);
}

Type const* Operator::getGenericType() const
{
    return isNative() ? nullptr : &getContext().getBuiltinType(sxu::DataTypeId::Real);
}

sxu::string Operator::asString() const
{
    return detail::ExpressionWalk::toString(*this);
}

void Operator::appendText(detail::TextSink& out, unsigned long piece) const
{
    std::string_view const text = sOperations[mOp].pieces[piece];
    if (!text.empty()) {
        out.append(text);
    }
}

ExpressionData* Operator::clone(Function const& target) const
{
    return detail::ExpressionWalk::clone(*this, target);
}

bool Operator::localIsEquivalent(Operator const& other) const
{
    return detail::ExpressionWalk::equivalent(*this, other);
}

bool Operator::isLocallyEquivalent(ExpressionData const& other) const
{
    Operator const* same = asSameClass(other);
    return same != nullptr && mOp == same->mOp;
}

ExpressionData* Operator::rebuild(Function const& target, ExpressionData* const* clonedSubExpressions) const
{
    return new Operator(target.getContext(), mOp, clonedSubExpressions);
}

} // namespace sxir
