#include "ir/FunctionRef.hpp"

#include "ir/Context.hpp"
#include "ir/Function.hpp"
#include "ir/FunctionSignature.hpp"
#include "ir/Scope.hpp"
#include "ir/detail/Cloning.hpp"

namespace sxir {

FunctionRef::FunctionRef(Function const& function) : ExpressionDataShim(function.getContext()), mFunction(&function) {}

FunctionRef::~FunctionRef() = default;

void FunctionRef::setFunction(Function const& function)
{
    getContext().noteChange();
    mFunction = &function;
}

Function const* FunctionRef::resolveFunction() const
{
    return mFunction->getParentScope().resolveFunction();
}

Type const* FunctionRef::getGenericType() const
{
    return mFunction->hasSignature() ? &mFunction->getSignature() : nullptr;
}

sxu::string FunctionRef::asString() const
{
    return mFunction->getName();
}

ExpressionData* FunctionRef::clone(Function const& target) const
{
    return detail::cloneExpression(*this, target);
}

bool FunctionRef::localIsEquivalent(FunctionRef const& other) const
{
    return fields() == other.fields();
}

} // namespace sxir
