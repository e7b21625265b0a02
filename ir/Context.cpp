#include "ir/Context.hpp"

#include "util/Assertion.hpp"

namespace sxir {

Context::Factory Context::sFactory = nullptr;

Context::~Context() = default;

Context* Context::create(RuntimeEnvironment const& env)
{
    if (sFactory == nullptr) {
        sxu_assertion("no context factory registered", SXU_SOURCE_PATH, __LINE__);
    }
    return sFactory(env);
}

bool Context::registerFactory(Factory factory)
{
    sFactory = factory;
    return true;
}

} // namespace sxir
