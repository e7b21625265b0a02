#include "ir/VariableRef.hpp"

#include "ir/Function.hpp"
#include "ir/Scope.hpp"
#include "ir/Variable.hpp"
#include "ir/detail/ExpressionWalk.hpp"
#include "ir/detail/Rebinding.hpp"
#include "ir/detail/TextSink.hpp"
#include "util/Assertion.hpp"

namespace sxir {

VariableRef::VariableRef(Variable const& variable) : ExpressionDataShim(variable.getContext()), mVariable(&variable) {}

VariableRef::~VariableRef() = default;

Function const* VariableRef::resolveFunction() const
{
    return mVariable->getParentScope().resolveFunction();
}

Type const* VariableRef::getGenericType() const
{
    return &mVariable->getType();
}

bool VariableRef::isLValue() const
{
    return mVariable->isMutable();
}

sxu::string VariableRef::asString() const
{
    return mVariable->getName();
}

unsigned long VariableRef::openText(detail::TextSink& out) const
{
    out.append(mVariable->getName());
    return 0;
}

ExpressionData* VariableRef::clone(Function const& target) const
{
    if (ExpressionData* shared = detail::RebindCache::findNode(target, *mVariable)) {
        return shared;
    }
    ScopeItem const* item = detail::RebindCache::resolve(target, *mVariable);
    auto const* variable = item != nullptr && item->getScopeItemType() == ScopeItemType::Variable
                               ? static_cast<Variable const*>(item)
                               : nullptr;
    SXU_CHECK(variable != nullptr, "the target function declares no variable of the cloned reference's name");
    // Without the declaration the clone keeps referring to the source's variable.
    Expression const clone = detail::ExpressionWalk::adopt(
        target.getContext(), new VariableRef(variable != nullptr ? *variable : *mVariable));
    ExpressionData& node = const_cast<ExpressionData&>(*clone.getData());
    detail::RebindCache::keepNode(target, *mVariable, node);
    return node.getReference();
}

} // namespace sxir
