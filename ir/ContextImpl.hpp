// sxir::ContextImpl: the one concrete context, registered as the factory of Context::create.
#pragma once

#include "ir/Context.hpp"

namespace sxir {

class SXIR_API ContextImpl final : public Context {
public:
    /// The factory registered at load time.
    static Context* create(RuntimeEnvironment const& env);

    ~ContextImpl() override;

    void reportError(char const* id, sxu::string const& arg1, sxu::string const& arg2, sxu::string const& arg3,
                     sxu::string const& arg4) const override;
    bool isValidIdentifier(sxu::string const& name) const override;
    Scope const& getGlobalScope() const override { return *mGlobalScope; }
    Scope& getGlobalScope() override { return *mGlobalScope; }
    BuiltinType const& getBuiltinType(sxu::DataTypeId::Type id) const override;

private:
    explicit ContextImpl(RuntimeEnvironment const& env) : mEnvironment(&env) {}

    Scope* mGlobalScope = nullptr;
    BuiltinType* mBuiltinTypes[sxu::DataTypeId::Count] = {};
    RuntimeEnvironment const* mEnvironment;
};

} // namespace sxir
