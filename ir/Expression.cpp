#include "ir/Expression.hpp"

#include "ir/AssignmentStatement.hpp"
#include "ir/Constant.hpp"
#include "ir/Context.hpp"
#include "ir/ErrorId.hpp"
#include "ir/Function.hpp"
#include "ir/FunctionCall.hpp"
#include "ir/MatrixRef.hpp"
#include "ir/Operator.hpp"
#include "ir/ScopeItem.hpp"
#include "ir/SubMatrix.hpp"
#include "util/Assertion.hpp"
#include "util/Format.hpp"

#include <cstdint>
#include <memory>

namespace sxir {

namespace {

Context const& lastContext()
{
    Context const* context = IrObject::getLastContext();
    SXU_CHECK(context != nullptr, "an expression built from a bare value needs an IR object built before it");
    return *context;
}

/// `value` as the constant's value type T. A value that T cannot hold is reported; if the
/// report returns, the constant keeps the value's low 32 bits.
template <class T, class Value>
T checkedValue(Context const& context, Value value)
{
    T const converted = static_cast<T>(static_cast<std::uint32_t>(value));
    if (static_cast<Value>(converted) != value) {
        sxu::string text, none;
        sxu::appendDecimal(text, value);
        context.reportError(ErrorId::ConstantOutOfRange, text, none, none, none);
    }
    return converted;
}

} // namespace

Expression::Expression(Context const& context) : Expression(context, 0) {}

Expression::Expression(Context const& context, char const& value)
    : IrObject(context), mData(new ScalarConstant<char>(context, value))
{}

Expression::Expression(Context const& context, unsigned char const& value)
    : IrObject(context), mData(new ScalarConstant<unsigned char>(context, value))
{}

Expression::Expression(Context const& context, int const& value)
    : IrObject(context), mData(new ScalarConstant<int>(context, value))
{}

Expression::Expression(Context const& context, unsigned int const& value)
    : IrObject(context), mData(new ScalarConstant<unsigned int>(context, value))
{}

Expression::Expression(Context const& context, double const& value)
    : IrObject(context), mData(new ScalarConstant<double>(context, value))
{}

Expression::Expression(Context const& context, unsigned long const& value) : IrObject(context), mData(nullptr)
{
    setSizeData(value);
}

Expression::Expression(Context const& context, bool const& value)
    : Expression(context, static_cast<unsigned char>(value))
{}

Expression::Expression(Context const& context, long const& value)
    : Expression(context, checkedValue<int>(context, value))
{}

Expression::Expression(Context const& context, long long const& value)
    : Expression(context, checkedValue<int>(context, value))
{}

Expression::Expression(Context const& context, unsigned long long const& value)
    : Expression(context, checkedValue<unsigned int>(context, value))
{}

Expression::Expression(Context const& context, float const& value) : Expression(context, static_cast<double>(value)) {}

Expression::Expression(char const& value) : Expression(lastContext(), value) {}
Expression::Expression(unsigned char const& value) : Expression(lastContext(), value) {}
Expression::Expression(int const& value) : Expression(lastContext(), value) {}
Expression::Expression(unsigned int const& value) : Expression(lastContext(), value) {}
Expression::Expression(double const& value) : Expression(lastContext(), value) {}
Expression::Expression(unsigned long const& value) : Expression(lastContext(), value) {}
Expression::Expression(bool const& value) : Expression(lastContext(), value) {}
Expression::Expression(long const& value) : Expression(lastContext(), value) {}
Expression::Expression(long long const& value) : Expression(lastContext(), value) {}
Expression::Expression(unsigned long long const& value) : Expression(lastContext(), value) {}
Expression::Expression(float const& value) : Expression(lastContext(), value) {}

Expression::Expression(sxu::DataTypeId::Type id, void const* value)
    : Expression(lastContext(), Constant::createScalarConstant(lastContext(), id, value), Adopt())
{}

Expression::Expression(ExpressionData const& data) : IrObject(data.getContext()), mData(data.getReference()) {}

Expression::Expression(Expression const& other) noexcept : IrObject(other.getContext()), mData(other.mData)
{
    if (mData != nullptr) {
        mData->getReference();
    }
}

Expression::Expression(ScopeItem const& item) : IrObject(item.getContext()), mData(item.createExpressionData()) {}

Expression::Expression(OpId::Type op, Expression const& operand)
    : IrObject(operand.getContext()), mData(new Operator(op, operand))
{}

Expression::Expression(OpId::Type op, Expression const& left, Expression const& right)
    : IrObject(left.getContext()), mData(new Operator(op, left, right))
{}

Expression::Expression(FunctionCallBuilder const& builder)
    : IrObject(builder.getContext()), mData(builder.createFunctionCall())
{}

Expression::Expression(Context const& context, ExpressionData* node, Adopt) : IrObject(context), mData(node) {}

Expression::Expression(ExpressionData const& node, View)
    : IrObject(node.getContext(), Unrecorded()), mData(const_cast<ExpressionData*>(&node))
{}

Expression::~Expression()
{
    if (mData != nullptr) {
        mData->releaseReference();
    }
}

Expression& Expression::operator=(Expression const& other) noexcept
{
    // The new node is referenced first, so assigning a handle to itself is harmless.
    ExpressionData* previous = mData;
    mData = other.mData;
    if (mData != nullptr) {
        mData->getReference();
    }
    if (previous != nullptr) {
        previous->releaseReference();
    }
    return *this;
}

void Expression::setSizeData(unsigned long const& value)
{
    mData = new ScalarConstant<int>(getContext(), static_cast<int>(static_cast<unsigned int>(value)));
}

sxu::string Expression::asString() const
{
    SXU_CHECK(mData != nullptr, "the expression holds no node");
    return mData->asString();
}

bool Expression::isLValue() const
{
    SXU_CHECK(mData != nullptr, "the expression holds no node");
    return mData->isLValue();
}

Function const* Expression::resolveFunction() const
{
    SXU_CHECK(mData != nullptr, "the expression holds no node");
    return mData->resolveFunction();
}

Type const* Expression::getGenericType() const
{
    SXU_CHECK(mData != nullptr, "the expression holds no node");
    return mData->getGenericType();
}

bool Expression::isEquivalent(Expression const& other) const
{
    SXU_CHECK(mData != nullptr, "the expression holds no node");
    return mData->isEquivalent(*other.mData);
}

Expression Expression::clone(Function const& target) const
{
    SXU_CHECK(mData != nullptr, "the expression holds no node");
    return Expression(target.getContext(), mData->clone(target), Adopt());
}

Expression Expression::operator()(Expression const& i) const
{
    auto* element = new MatrixRef(*this);
    Expression result(getContext(), element, Adopt());
    element->setIndex(0, i);
    return result;
}

Expression Expression::operator()(Expression const& i, Expression const& j) const
{
    auto* element = new MatrixRef(*this);
    Expression result(getContext(), element, Adopt());
    element->setIndex(0, i);
    element->setIndex(1, j);
    return result;
}

Expression Expression::operator()(Colon const& range) const
{
    return Expression(getContext(), new SubMatrix(*this, range), Adopt());
}

void Expression::assign(Expression const& rhs, bool autoGenerated) const
{
    Function const* function = resolveFunction();
    if (function == nullptr) {
        function = rhs.resolveFunction();
    }
    if (function == nullptr) {
        sxu::string const none;
        getContext().reportError(ErrorId::CannotResolveFunction, none, none, none, none);
        return;
    }
    std::unique_ptr<AssignmentStatement> statement(new AssignmentStatement(*function));
    statement->setExpression(AssignmentStatement::LHS, *this);
    statement->setExpression(AssignmentStatement::RHS, rhs);
    statement->setAutoGenerated(autoGenerated);
    // The resolved function is only const because expressions see it so; it is ours to extend.
    const_cast<Function*>(function)->append(statement.release());
}

ExpressionLValue::ExpressionLValue(Expression const& expression)
    : IrObject(expression.getContext()), mExpression(expression)
{}

ExpressionLValue::ExpressionLValue(ExpressionLValue const& other)
    : IrObject(other.getContext()), mExpression(other.mExpression)
{}

ExpressionLValue::~ExpressionLValue() = default;

void ExpressionLValue::operator=(Expression const& rhs)
{
    mExpression.assign(rhs, false);
}

void ExpressionLValue::operator=(ExpressionLValue const& rhs)
{
    mExpression.assign(rhs.mExpression, false);
}

ExpressionLValue operator*(Expression const& expression)
{
    return ExpressionLValue(expression);
}

FunctionCallBuilder operator<<(Expression const& function, Expression const& argument)
{
    FunctionCallBuilder builder(function);
    builder << argument;
    return builder;
}

Expression call(Expression const& function)
{
    return Expression(FunctionCallBuilder(function));
}

#define SXIR_NATIVE_UNARY(id, symbol, op)                                                                              \
    Expression operator op(Expression const& operand)                                                                  \
    {                                                                                                                  \
        return Expression(OpId::id, operand);                                                                          \
    }
#define SXIR_NATIVE_BINARY(id, symbol, op)                                                                             \
    Expression operator op(Expression const& left, Expression const& right)                                            \
    {                                                                                                                  \
        return Expression(OpId::id, left, right);                                                                      \
    }
#define SXIR_FUNCTION_UNARY(id, name)                                                                                  \
    Expression name(Expression const& operand)                                                                         \
    {                                                                                                                  \
        return Expression(OpId::id, operand);                                                                          \
    }
#define SXIR_FUNCTION_BINARY(id, name)                                                                                 \
    Expression name(Expression const& left, Expression const& right)                                                   \
    {                                                                                                                  \
        return Expression(OpId::id, left, right);                                                                      \
    }
#include "ir/Operations.def"

} // namespace sxir
