#include "ir/ScopeConfiguration.hpp"

#include "ir/Function.hpp"
#include "ir/Module.hpp"

namespace sxir {

ScopeConfiguration::~ScopeConfiguration() = default;

bool GlobalScopeConfiguration::isValidScopeItemType(ScopeItemType::Type type) const
{
    return type == ScopeItemType::Module;
}

bool ModuleScopeConfiguration::isValidScopeItemType(ScopeItemType::Type type) const
{
    return type < ScopeItemType::Count;
}

Scope const* ModuleScopeConfiguration::getParentScope() const
{
    return &mModule->getParentScope();
}

namespace {
// The function scope that encloses each function scope; Input is enclosed by the
// scope that declares the function.
unsigned long const sDeclaringScope = ~0ul;
unsigned long const sEnclosingKind[FunctionScopeType::Count] = {sDeclaringScope, FunctionScopeType::Input,
                                                                FunctionScopeType::Output};
} // namespace

bool FunctionScopeConfiguration::isValidScopeItemType(ScopeItemType::Type type) const
{
    return type == ScopeItemType::Variable;
}

Scope const* FunctionScopeConfiguration::getParentScope() const
{
    unsigned long const enclosing = sEnclosingKind[mKind];
    if (enclosing == sDeclaringScope) {
        return &mFunction->getParentScope();
    }
    return &mFunction->getFunctionScope(static_cast<FunctionScopeType::Type>(enclosing));
}

bool FunctionIoScopeConfiguration::isValidScopeItemType(ScopeItemType::Type type) const
{
    return type == ScopeItemType::Variable;
}

} // namespace sxir
