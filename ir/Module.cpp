#include "ir/Module.hpp"

#include "ir/Scope.hpp"
#include "ir/ScopeConfiguration.hpp"
#include "ir/detail/ScopeItemRegistry.hpp"
#include "util/Assertion.hpp"

namespace sxir {

namespace {
bool const sRegistered = detail::ScopeItemRegistry::get().registerCreator(
    ScopeItemType::Module, &detail::ScopeItemRegistry::createItem<Module>);

// Clients match on this report, so its source and line stay fixed.
char const* const sInvalidUseSource = "ir/Module";
int const sInvalidUseLine = 77;
} // namespace

Module::Module(Scope const& parent, sxu::string const& name)
    : ScopeItemShim(parent, name),
      mScope(
          Scope::createOwning(std::unique_ptr<ScopeConfiguration>(new ModuleScopeConfiguration(getContext(), *this))))
{}

Module::~Module() = default;

void Module::copyIn(Module const& other)
{
    mScope->copyIn(*other.mScope);
}

sxu::string Module::asString() const
{
    return mScope->asString("\n");
}

ExpressionData* Module::createExpressionData() const
{
    sxu_assertion("invalid use of module", sInvalidUseSource, sInvalidUseLine);
}

} // namespace sxir
