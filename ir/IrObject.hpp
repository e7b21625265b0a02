// sxir::IrObject: the root of every node of the IR tree; remembers the context of the last one built.
#pragma once

#include "ir/Base.hpp"

namespace sxir {

class SXIR_API IrObject : public Base {
public:
    /// Also makes `context` the last context (per thread).
    explicit IrObject(Context const& context);
    ~IrObject() override;

    /// The context of the most recently constructed IR object of this thread, or null.
    /// Objects built without a context argument take this one.
    static Context const* getLastContext();

protected:
    struct Unrecorded {};
    /// For objects the library makes while reading IR (handles given out for a node's
    /// operands): they leave the record of the last context alone.
    IrObject(Context const& context, Unrecorded) : Base(context) {}
};

} // namespace sxir
