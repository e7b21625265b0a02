#include "ir/IrObject.hpp"

namespace sxir {

thread_local Context const* IrObject::smLastContext = nullptr;

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
