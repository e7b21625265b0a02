#include "ir/FunctionRef.hpp"

#include "ir/Function.hpp"
#include "ir/FunctionSignature.hpp"
#include "ir/Scope.hpp"
#include "ir/detail/Rebinding.hpp"
#include "ir/detail/TextSink.hpp"
#include "util/Assertion.hpp"

namespace sxir {

FunctionRef::FunctionRef(Function const& function) : ExpressionDataShim(function.getContext()), mFunction(&function) {}

FunctionRef::~FunctionRef() = default;

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

unsigned long FunctionRef::openText(detail::TextSink& out) const
{
    out.append(mFunction->getName());
    return 0;
}

ExpressionData* FunctionRef::clone(Function const& target) const
{
    ScopeItem const* item = detail::RebindCache::resolve(target, *mFunction);
    auto const* function = item != nullptr && item->getScopeItemType() == ScopeItemType::Function
                               ? static_cast<Function const*>(item)
                               : nullptr;
    SXU_CHECK(function != nullptr, "the target function sees no function of the cloned reference's name");
    // Without the declaration the clone keeps referring to the source's function.
    return new FunctionRef(function != nullptr ? *function : *mFunction);
}

std::size_t FunctionRef::hashLocally() const
{
    return mFunction->getSerial();
}

bool FunctionRef::localIsEquivalent(FunctionRef const& other) const
{
    return mFunction->getSerial() == other.mFunction->getSerial();
}

} // namespace sxir
