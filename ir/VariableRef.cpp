#include "ir/VariableRef.hpp"

#include "ir/Function.hpp"
#include "ir/Scope.hpp"
#include "ir/Variable.hpp"
#include "util/Assertion.hpp"

namespace sxir {

VariableRef::VariableRef(Variable const& variable) : ExpressionDataShim(variable.getContext()), mVariable(&variable)
{
}

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

void VariableRef::appendText(sxu::string& out, unsigned long) const
{
    out += mVariable->getName();
}

ExpressionData* VariableRef::clone(Function const& target) const
{
    auto const* variable = dynamic_cast<Variable const*>(target(mVariable->getName()));
    SXU_CHECK(variable != nullptr, "the target function declares no variable of the cloned reference's name");
    // Without the declaration the clone keeps referring to the source's variable.
    return new VariableRef(variable != nullptr ? *variable : *mVariable);
}

} // namespace sxir
