// sxir::Module: a named container whose scope may declare modules, variables and functions.
#pragma once

#include "ir/ScopeItem.hpp"

#include <memory>

namespace sxir {

class SXIR_API Module final : public ScopeItemShim<Module> {
public:
    static constexpr ScopeItemType::Type sScopeItemType = ScopeItemType::Module;

    /// Builds the module and its scope; Scope::addGenericScopeItem adds it to `parent`.
    Module(Scope const& parent, sxu::string const& name);
    ~Module() override;

    Scope& getModuleScope() { return *mScope; }
    Scope const& getModuleScope() const { return *mScope; }

    /// Clones every item of `other` into this module's scope, under unique names.
    void copyIn(Module const& other);
    /// The declared items' texts, one per line, with no trailing newline.
    sxu::string asString() const override;
    /// A module is never an expression: fails the assertion "invalid use of module".
    ExpressionData* createExpressionData() const override;

private:
    std::unique_ptr<Scope> mScope;
};

} // namespace sxir
