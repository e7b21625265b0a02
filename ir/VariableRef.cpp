#include "ir/VariableRef.hpp"

#include "ir/Scope.hpp"
#include "ir/Variable.hpp"
#include "ir/detail/Cloning.hpp"

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

ExpressionData* VariableRef::clone(Function const& target) const
{
    return detail::cloneExpression(*this, target);
}

bool VariableRef::localIsEquivalent(VariableRef const& other) const
{
    return fields() == other.fields();
}

} // namespace sxir
