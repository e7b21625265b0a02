#include "ir/FunctionSignature.hpp"

#include "ir/Scope.hpp"
#include "ir/ScopeConfiguration.hpp"
#include "ir/Variable.hpp"
#include "util/Assertion.hpp"

namespace sxir {

FunctionSignature::FunctionSignature(Context const& context) : TypeShim(context)
{
    createScopes(context);
}

FunctionSignature::FunctionSignature(FunctionSignature const& other) : FunctionSignature(other.getContext(), other) {}

FunctionSignature::FunctionSignature(Context const& context, FunctionSignature const& other) : TypeShim(context)
{
    createScopes(context);
    for (unsigned long kind = 0; kind < FunctionIoScopeType::Count; ++kind) {
        mScopes[kind]->copyIn(*other.mScopes[kind]);
    }
}

FunctionSignature::~FunctionSignature()
{
    for (auto& scope : mScopes) {
        scope.reset();
    }
}

void FunctionSignature::createScopes(Context const& context)
{
    for (auto& scope : mScopes) {
        scope = Scope::createOwning(std::unique_ptr<ScopeConfiguration>(new FunctionIoScopeConfiguration(context)));
    }
}

Scope& FunctionSignature::getScope(FunctionIoScopeType::Type kind)
{
    SXU_CHECK(kind < FunctionIoScopeType::Count, "signature scope kind out of range");
    return *mScopes[kind];
}

Scope const& FunctionSignature::getScope(FunctionIoScopeType::Type kind) const
{
    return const_cast<FunctionSignature*>(this)->getScope(kind);
}

Variable& FunctionSignature::addVariable(FunctionIoScopeType::Type kind, sxu::string const& name)
{
    return *getScope(kind).addScopeItem<Variable>(name);
}

sxu::string FunctionSignature::asString(sxu::string const& name) const
{
    sxu::string text;
    Scope const& outputs = *mScopes[FunctionIoScopeType::Output];
    Scope const& inputs = *mScopes[FunctionIoScopeType::Input];
    if (!outputs.isEmpty()) {
        text += '[';
        text += outputs.asString(", ");
        text += "] = ";
    }
    text += name;
    if (!inputs.isEmpty()) {
        text += '(';
        text += inputs.asString(", ");
        text += ')';
    }
    return text;
}

} // namespace sxir
