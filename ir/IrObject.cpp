#include "ir/IrObject.hpp"

namespace sxir {

namespace {
SXIR_FAST_TLS thread_local Context const* smLastContext = nullptr;
} // namespace

IrObject::IrObject(Context const& context) : Base(context)
{
    smLastContext = &context;
}

IrObject::~IrObject() = default;

Context const* IrObject::getLastContext()
{
    return smLastContext;
}

} // namespace sxir
