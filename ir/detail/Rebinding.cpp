#include "ir/detail/Rebinding.hpp"

#include "ir/ExpressionData.hpp"
#include "ir/Function.hpp"

namespace sxir {
namespace detail {

namespace {
SXIR_FAST_TLS thread_local RebindCache* tActive = nullptr;
SXIR_FAST_TLS thread_local unsigned long tScopeGeneration = 0;
} // namespace

RebindCache::RebindCache(Function const& target) : mTarget(&target), mGeneration(tScopeGeneration), mOuter(tActive)
{
    tActive = this;
}

RebindCache::~RebindCache()
{
    forget();
    tActive = mOuter;
}

void RebindCache::forget() noexcept
{
    mResolved.clear();
    NodeMap nodes;
    nodes.swap(mNodes);
    for (auto const& entry : nodes) {
        entry.second->releaseReference();
    }
}

RebindCache* RebindCache::forTarget(Function const& target)
{
    RebindCache* cache = tActive;
    if (cache == nullptr || cache->mTarget != &target) {
        return nullptr;
    }
    if (cache->mGeneration != tScopeGeneration) {
        cache->forget();
        cache->mGeneration = tScopeGeneration;
    }
    return cache;
}

ScopeItem const* RebindCache::resolve(Function const& target, ScopeItem const& source)
{
    RebindCache* cache = forTarget(target);
    if (cache == nullptr) {
        return target(source.getName());
    }
    auto const found = cache->mResolved.find(&source);
    if (found != cache->mResolved.end()) {
        return found->second;
    }
    ScopeItem const* item = target(source.getName());
    cache->mResolved.emplace(&source, item);
    return item;
}

ExpressionData* RebindCache::findNode(Function const& target, ScopeItem const& source)
{
    RebindCache* cache = forTarget(target);
    if (cache == nullptr) {
        return nullptr;
    }
    auto const found = cache->mNodes.find(&source);
    return found == cache->mNodes.end() ? nullptr : found->second->getReference();
}

void RebindCache::keepNode(Function const& target, ScopeItem const& source, ExpressionData& node)
{
    if (RebindCache* cache = forTarget(target)) {
        cache->mNodes.emplace(&source, &node);
        node.getReference();
    }
}

void RebindCache::scopesChanged() noexcept
{
    ++tScopeGeneration;
}

} // namespace detail
} // namespace sxir
