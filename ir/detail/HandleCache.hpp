// Sub-expressions held as counted node references, and the handles their accessors give out.
#pragma once

#include "ir/Context.hpp"
#include "ir/Expression.hpp"
#include "ir/ExpressionData.hpp"
#include "util/Allocate.hpp"
#include "util/Vector.hpp"

namespace sxir {
namespace detail {

/// Every node and statement holds its sub-expressions in slots of plain node
/// pointers, each owning one reference, a third of the memory of handles. The
/// accessors that return a handle by reference (getOperand, getIndex,
/// getExpression) get one from here: it only views its slot's node, so making it
/// adds no holder and leaves the record of the last context alone.
class HandleCache : public sxu::AllocatorBase {
public:
    HandleCache(HandleCache const&) = delete;
    HandleCache& operator=(HandleCache const&) = delete;

    /// The handle viewing `node`, kept at `position` of `cache`, which is made with
    /// `positions` places on first use.
    static Expression const& view(HandleCache*& cache, unsigned long positions, unsigned long position,
                                  ExpressionData const& node)
    {
        if (cache == nullptr) {
            cache = new HandleCache(positions);
        }
        Expression*& handle = cache->mHandles[position];
        if (handle == nullptr) {
            handle = new Expression(node, Expression::View());
        }
        return *handle;
    }

    /// Makes `slot` (at `position`) hold `value`, then lets go of what it held.
    static void set(HandleCache* cache, unsigned long position, ExpressionData*& slot, ExpressionData const& value)
    {
        value.getContext().noteChange();
        ExpressionData* const previous = slot;
        slot = value.getReference();
        if (cache != nullptr && cache->mHandles[position] != nullptr) {
            cache->mHandles[position]->mData = slot;
        }
        if (previous != nullptr) {
            previous->releaseReference();
        }
    }

    /// Takes the reference `slot` (at `position`) owns, leaving the slot empty.
    static ExpressionData* take(HandleCache* cache, unsigned long position, ExpressionData*& slot) noexcept
    {
        ExpressionData* const taken = slot;
        slot = nullptr;
        if (cache != nullptr && cache->mHandles[position] != nullptr) {
            cache->mHandles[position]->mData = nullptr;
        }
        return taken;
    }

    /// Releases what the slots still own, then the handles.
    static void release(HandleCache* cache, ExpressionData* const* slots, unsigned long count) noexcept
    {
        for (unsigned long position = 0; position < count; ++position) {
            if (slots[position] != nullptr) {
                slots[position]->releaseReference();
            }
        }
        if (cache != nullptr) {
            for (Expression* handle : cache->mHandles) {
                if (handle != nullptr) {
                    handle->mData = nullptr;
                    delete handle;
                }
            }
            delete cache;
        }
    }

private:
    explicit HandleCache(unsigned long positions) : mHandles(positions, nullptr) {}

    sxu::vector<Expression*> mHandles;
};

} // namespace detail
} // namespace sxir
