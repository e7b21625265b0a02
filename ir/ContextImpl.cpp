#include "ir/ContextImpl.hpp"

#include "ir/BuiltinType.hpp"
#include "ir/RuntimeEnvironment.hpp"
#include "ir/Scope.hpp"
#include "ir/ScopeConfiguration.hpp"
#include "util/Assertion.hpp"

#include <memory>

namespace sxir {

namespace {
bool const sFactoryRegistered = Context::registerFactory(&ContextImpl::create);
} // namespace

Context* ContextImpl::create(RuntimeEnvironment const& env)
{
    // A failed step leaves a partly built context, which its destructor cleans up.
    std::unique_ptr<ContextImpl> context(new ContextImpl(env));
    context->mGlobalScope =
        Scope::createOwning(std::unique_ptr<ScopeConfiguration>(new GlobalScopeConfiguration(*context))).release();
    for (unsigned long id = 0; id < sxu::DataTypeId::Count; ++id) {
        context->mBuiltinTypes[id] = new BuiltinType(*context, static_cast<sxu::DataTypeId::Type>(id));
    }
    return context.release();
}

ContextImpl::~ContextImpl()
{
    for (BuiltinType* type : mBuiltinTypes) {
        Base::destroy(type);
    }
    Base::destroy(mGlobalScope);
}

void ContextImpl::reportError(char const* id, sxu::string const& arg1, sxu::string const& arg2, sxu::string const& arg3,
                              sxu::string const& arg4) const
{
    mEnvironment->reportError(id, arg1, arg2, arg3, arg4);
}

bool ContextImpl::isValidIdentifier(sxu::string const& name) const
{
    return mEnvironment->isValidIdentifier(name);
}

BuiltinType const& ContextImpl::getBuiltinType(sxu::DataTypeId::Type id) const
{
    SXU_CHECK(static_cast<unsigned long>(id) < sxu::DataTypeId::Count, "data type id out of range");
    return *mBuiltinTypes[id];
}

} // namespace sxir
