#include "ir/Variable.hpp"

#include "ir/BuiltinType.hpp"
#include "ir/Context.hpp"
#include "ir/VariableRef.hpp"
#include "ir/detail/NodeAccess.hpp"
#include "ir/detail/ScopeItemRegistry.hpp"

namespace sxir {

namespace {
bool const sRegistered = detail::ScopeItemRegistry::get().registerCreator(
    ScopeItemType::Variable, &detail::ScopeItemRegistry::createItem<Variable>);
} // namespace

Variable::Variable(Scope const& parent, sxu::string const& name) : ScopeItemShim(parent, name)
{
    rehash();
}

Variable::~Variable() = default;

Type const& Variable::getType() const
{
    if (mType) {
        return *mType;
    }
    return getContext().getBuiltinType(sxu::DataTypeId::Boolean);
}

void Variable::setType(Type const& type)
{
    // Clone before letting go of the old type: `type` may be the old type itself.
    mType.reset(type.clone());
    rehash();
    getContext().noteChange();
}

void Variable::rehash()
{
    mReferenceHash = detail::NodeAccess::referenceHash(getName(), getType());
}

void Variable::setMutable(bool isMutable)
{
    getContext().noteChange();
    mMutable = isMutable;
}

sxu::string Variable::asString() const
{
    return getType().asString(getName());
}

ExpressionData* Variable::createExpressionData() const
{
    return new VariableRef(*this);
}

void Variable::copyIn(Variable const& other)
{
    mType.reset(other.getType().clone(getContext()));
    rehash();
}

} // namespace sxir
