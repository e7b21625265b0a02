#include "ir/FunctionCall.hpp"

#include "ir/FunctionSignature.hpp"
#include "ir/Scope.hpp"
#include "ir/ScopeItemVisitor.hpp"
#include "ir/Variable.hpp"
#include "ir/detail/ExpressionWalk.hpp"
#include "ir/detail/TextSink.hpp"
#include "util/Assertion.hpp"

namespace sxir {

namespace {

/// Remembers the last output it visits: the variable that types the call.
class SignatureOutputVisitor : public ConstScopeItemVisitor<Variable> {
public:
    void visit(Variable const& output) override { mLast = &output; }
    Variable const* getLast() const { return mLast; }

private:
    Variable const* mLast = nullptr;
};

} // namespace

FunctionCall::FunctionCall(Expression const& function) : ExpressionDataShim(function.getContext()), mFunction(function)
{
    auto const* signature = dynamic_cast<FunctionSignature const*>(function.getGenericType());
    SXU_CHECK(signature != nullptr, "a call of an expression that is not typed by a function signature");
    mSignature.reset(signature != nullptr ? new FunctionSignature(*signature) : new FunctionSignature(getContext()));
    SignatureOutputVisitor outputs;
    static_cast<Scope const&>(mSignature->getScope(FunctionIoScopeType::Output)).visitItems(outputs);
    mResult = outputs.getLast();
    mOperands.resize(mSignature->getScope(FunctionIoScopeType::Input).getNumScopeItems());
}

FunctionCall::~FunctionCall() = default;

Expression const* FunctionCall::getOperand(unsigned long position) const
{
    SXU_CHECK(position < mOperands.size(), "call operand position out of range");
    return mOperands[position].get();
}

void FunctionCall::setOperand(unsigned long position, Expression const& operand)
{
    SXU_CHECK(position < mOperands.size(), "call operand position out of range");
    if (mOperands[position]) {
        *mOperands[position] = operand;
    } else {
        mOperands[position].reset(new Expression(operand));
    }
}

Function const* FunctionCall::resolveFunction() const
{
    return detail::ExpressionWalk::resolveFunction(*this);
}

Type const* FunctionCall::getGenericType() const
{
    return mResult != nullptr ? &mResult->getType() : nullptr;
}

sxu::string FunctionCall::asString() const
{
    return detail::ExpressionWalk::toString(*this);
}

ExpressionData* FunctionCall::clone(Function const& target) const
{
    return detail::ExpressionWalk::clone(*this, target);
}

bool FunctionCall::localIsEquivalent(FunctionCall const& other) const
{
    return detail::ExpressionWalk::equivalent(*this, other);
}

ExpressionData const* FunctionCall::getSubExpression(unsigned long position) const
{
    if (position == 0) {
        return mFunction.getData();
    }
    Expression const* operand = mOperands[position - 1].get();
    return operand == nullptr ? nullptr : operand->getData();
}

unsigned long FunctionCall::getFirstResolvingSubExpression() const
{
    // Only the last operand slot counts; without operands nothing does.
    return mOperands.empty() ? 1 : mOperands.size();
}

void FunctionCall::appendText(detail::TextSink& out, unsigned long piece) const
{
    // The function, then "(", the operands separated by ",", and ")".
    unsigned long const count = mOperands.size();
    if (piece == 1) {
        out.append('(');
    } else if (piece > 1 && piece <= count) {
        out.append(',');
    }
    if (piece == count + 1) {
        out.append(')');
    }
}

unsigned long FunctionCall::compareLocally(ExpressionData const& other) const
{
    FunctionCall const* same = asSameClass(other);
    return same != nullptr && same->mOperands.size() == mOperands.size() ? 1 + mOperands.size() : sDifferent;
}

ExpressionData* FunctionCall::rebuild(Function const&, ExpressionData* const* clonedSubExpressions) const
{
    auto* copy = new FunctionCall(Expression(*clonedSubExpressions[0]));
    Expression const owner = detail::ExpressionWalk::adopt(copy->getContext(), copy);
    for (unsigned long i = 0; i < mOperands.size() && i < copy->mOperands.size(); ++i) {
        if (clonedSubExpressions[1 + i] != nullptr) {
            copy->setOperand(i, Expression(*clonedSubExpressions[1 + i]));
        }
    }
    return copy->getReference();
}

FunctionCallBuilder::FunctionCallBuilder(Expression const& function)
    : IrObject(function.getContext()), mFunction(function)
{}

FunctionCallBuilder::FunctionCallBuilder(FunctionCallBuilder const& other)
    : IrObject(other.getContext()), mFunction(other.mFunction), mOperands(other.mOperands)
{}

FunctionCallBuilder::~FunctionCallBuilder() = default;

FunctionCallBuilder& FunctionCallBuilder::operator<<(Expression const& operand)
{
    mOperands.push_back(operand);
    return *this;
}

FunctionCall* FunctionCallBuilder::createFunctionCall() const
{
    auto* call = new FunctionCall(mFunction);
    Expression const owner = detail::ExpressionWalk::adopt(call->getContext(), call);
    SXU_CHECK(mOperands.size() <= call->getNumOperands(), "more call operands than the function has inputs");
    for (unsigned long i = 0; i < mOperands.size() && i < call->getNumOperands(); ++i) {
        call->setOperand(i, mOperands[i]);
    }
    return static_cast<FunctionCall*>(call->getReference());
}

} // namespace sxir
