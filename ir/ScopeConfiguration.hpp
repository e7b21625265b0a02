// sxir::ScopeConfiguration and its four kinds: what a scope accepts, its function and its enclosing scope.
#pragma once

#include "ir/Base.hpp"
#include "ir/ScopeItem.hpp"

namespace sxir {

class Function;
class Module;

struct FunctionScopeType {
    enum Type : std::uint32_t { Input = 0, Output = 1, Local = 2 };
    static constexpr unsigned long Count = 3;
};

class SXIR_API ScopeConfiguration : public Base {
public:
    explicit ScopeConfiguration(Context const& context) : Base(context) {}
    ~ScopeConfiguration() override;

    virtual bool isValidScopeItemType(ScopeItemType::Type type) const = 0;
    /// The function the scope belongs to, or null.
    virtual Function const* resolveFunction() const = 0;
    /// The scope in which names not found here are resolved, or null.
    virtual Scope const* getParentScope() const = 0;
};

/// The context's global scope: modules only, nothing around it.
class SXIR_API GlobalScopeConfiguration final : public ScopeConfiguration {
public:
    using ScopeConfiguration::ScopeConfiguration;
    bool isValidScopeItemType(ScopeItemType::Type type) const override;
    Function const* resolveFunction() const override { return nullptr; }
    Scope const* getParentScope() const override { return nullptr; }
};

/// A module's scope: every kind, enclosed by the scope that declares the module.
class SXIR_API ModuleScopeConfiguration final : public ScopeConfiguration {
public:
    ModuleScopeConfiguration(Context const& context, Module const& module)
        : ScopeConfiguration(context), mModule(&module)
    {}
    bool isValidScopeItemType(ScopeItemType::Type type) const override;
    Function const* resolveFunction() const override { return nullptr; }
    Scope const* getParentScope() const override;
    /// The module whose scope this is.
    Module const& getModule() const { return *mModule; }

private:
    Module const* mModule;
};

/// One of a function's three scopes: variables only. Local is enclosed by Output,
/// Output by Input, and Input by the scope that declares the function.
class SXIR_API FunctionScopeConfiguration final : public ScopeConfiguration {
public:
    FunctionScopeConfiguration(Context const& context, Function const& function, FunctionScopeType::Type kind)
        : ScopeConfiguration(context), mFunction(&function), mKind(kind)
    {}
    bool isValidScopeItemType(ScopeItemType::Type type) const override;
    Function const* resolveFunction() const override { return mFunction; }
    Scope const* getParentScope() const override;

private:
    Function const* mFunction;
    FunctionScopeType::Type mKind;
};

/// The input or output scope of a signature: variables only, nothing around it.
class SXIR_API FunctionIoScopeConfiguration final : public ScopeConfiguration {
public:
    using ScopeConfiguration::ScopeConfiguration;
    bool isValidScopeItemType(ScopeItemType::Type type) const override;
    Function const* resolveFunction() const override { return nullptr; }
    Scope const* getParentScope() const override { return nullptr; }
};

} // namespace sxir
