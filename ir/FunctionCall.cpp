#include "ir/FunctionCall.hpp"

#include "ir/FunctionSignature.hpp"
#include "ir/Scope.hpp"
#include "ir/ScopeItemVisitor.hpp"
#include "ir/Variable.hpp"
#include "ir/detail/Cloning.hpp"
#include "ir/detail/Equivalence.hpp"
#include "ir/detail/HandleCache.hpp"
#include "ir/detail/Printing.hpp"
#include "ir/detail/Resolution.hpp"
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

FunctionCall::FunctionCall(Expression const& function) : ExpressionDataShim(function.getContext())
{
    auto const* signature = dynamic_cast<FunctionSignature const*>(function.getGenericType());
    SXU_CHECK(signature != nullptr, "a call of an expression that is not typed by a function signature");
    mSignature.reset(signature != nullptr ? new FunctionSignature(*signature) : new FunctionSignature(getContext()));
    SignatureOutputVisitor outputs;
    static_cast<Scope const&>(mSignature->getScope(FunctionIoScopeType::Output)).visitItems(outputs);
    mResult = outputs.getLast();
    mParts.assign(1 + mSignature->getScope(FunctionIoScopeType::Input).getNumScopeItems(), nullptr);
    mParts[0] = function.getData()->getReference();
}

FunctionCall::~FunctionCall()
{
    mSignature.reset();
    detail::HandleCache::release(mHandles, mParts.data(), mParts.size());
}

Expression const& FunctionCall::getFunction() const
{
    return detail::HandleCache::view(mHandles, mParts.size(), 0, *mParts[0]);
}

Expression const* FunctionCall::getOperand(unsigned long position) const
{
    SXU_CHECK(position < getNumOperands(), "call operand position out of range");
    ExpressionData const* operand = mParts[1 + position];
    return operand == nullptr ? nullptr : &detail::HandleCache::view(mHandles, mParts.size(), 1 + position, *operand);
}

void FunctionCall::setOperand(unsigned long position, Expression const& operand)
{
    SXU_CHECK(position < getNumOperands(), "call operand position out of range");
    detail::HandleCache::set(mHandles, 1 + position, mParts[1 + position], *operand.getData());
}

Function const* FunctionCall::resolveFunction() const
{
    return detail::resolveFunction(*this);
}

Type const* FunctionCall::getGenericType() const
{
    return mResult != nullptr ? &mResult->getType() : nullptr;
}

sxu::string FunctionCall::asString() const
{
    return detail::textOf(*this);
}

ExpressionData* FunctionCall::clone(Function const& target) const
{
    return detail::cloneExpression(*this, target);
}

bool FunctionCall::localIsEquivalent(FunctionCall const& other) const
{
    return detail::equivalent(*this, other);
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
    Expression const owner(*call);
    call->releaseReference();
    SXU_CHECK(mOperands.size() <= call->getNumOperands(), "more call operands than the function has inputs");
    for (unsigned long i = 0; i < mOperands.size() && i < call->getNumOperands(); ++i) {
        call->setOperand(i, mOperands[i]);
    }
    return static_cast<FunctionCall*>(call->getReference());
}

} // namespace sxir
