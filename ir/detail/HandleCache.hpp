// Ownership of sub-expressions held as plain node references, with handles made on demand.
#pragma once

#include "ir/Expression.hpp"
#include "ir/ExpressionData.hpp"
#include "util/Allocate.hpp"

#include <optional>

namespace sxir {
namespace detail {

/// Operators and assignments hold their sub-expressions in slots of plain node
/// pointers, a third of the memory of handles; the accessors that return a handle
/// by reference get one from here. Each slot owns one reference to its node: the
/// pointer owns it until a handle is made for the slot, then the handle does (the
/// pointer stays as a borrowed copy), so every holder still counts once.
class HandleCache : public sxu::AllocatorBase {
public:
    static constexpr unsigned long sSlots = 2;

    /// The handle of `slot`, whose node is `node`; `cache` is created on first use.
    static Expression const& get(HandleCache*& cache, unsigned long slot, ExpressionData* node)
    {
        if (cache == nullptr) {
            cache = new HandleCache();
        }
        std::optional<Expression>& handle = cache->mHandles[slot];
        if (!handle) {
            handle.emplace(*node);
            node->releaseReference();
        }
        return *handle;
    }

    /// Makes `slot` hold `value`; a handle given out for it follows.
    static void set(HandleCache* cache, unsigned long slot, ExpressionData*& node, ExpressionData const& value)
    {
        if (cache != nullptr && cache->mHandles[slot]) {
            *cache->mHandles[slot] = Expression(value);
            node = const_cast<ExpressionData*>(&value);
            return;
        }
        ExpressionData* previous = node;
        node = value.getReference();
        if (previous != nullptr) {
            previous->releaseReference();
        }
    }

    /// Releases what the slots own, then the cache.
    static void release(HandleCache* cache, ExpressionData* const* nodes, unsigned long count) noexcept
    {
        for (unsigned long slot = 0; slot < count; ++slot) {
            bool const ownedByHandle = cache != nullptr && cache->mHandles[slot];
            if (nodes[slot] != nullptr && !ownedByHandle) {
                nodes[slot]->releaseReference();
            }
        }
        delete cache;
    }

private:
    std::optional<Expression> mHandles[sSlots];
};

} // namespace detail
} // namespace sxir
