// Rebinding of cloned references by name, remembered while one function is being copied.
#pragma once

#include "util/Allocate.hpp"
#include "util/Export.hpp"

#include <functional>
#include <unordered_map>

namespace sxir {

class ExpressionData;
class Function;
class ScopeItem;

namespace detail {

/// While one lives, the references cloned into its function resolve each source
/// declaration once, and the clones of references to one variable share one node
/// (a variable reference never changes, so sharing it is safe). The answer of a
/// by-name lookup cannot change until a scope gains an item, which clears what
/// was remembered.
class RebindCache {
public:
    explicit RebindCache(Function const& target);
    ~RebindCache();
    RebindCache(RebindCache const&) = delete;
    RebindCache& operator=(RebindCache const&) = delete;

    /// The declaration of `source`'s name as seen from `target`'s body, or null.
    static ScopeItem const* resolve(Function const& target, ScopeItem const& source);
    /// The node kept for `source` in `target`, with a reference added for the caller; or null.
    static ExpressionData* findNode(Function const& target, ScopeItem const& source);
    /// Keeps `node` (adding a reference) as the clone of references to `source` in `target`.
    static void keepNode(Function const& target, ScopeItem const& source, ExpressionData& node);
    /// Called whenever any scope of this thread gains an item.
    static void scopesChanged() noexcept;

private:
    using Map = std::unordered_map<ScopeItem const*, ScopeItem const*, std::hash<ScopeItem const*>,
                                   std::equal_to<ScopeItem const*>,
                                   sxu::StlAllocator<std::pair<ScopeItem const* const, ScopeItem const*>>>;

    using NodeMap = std::unordered_map<ScopeItem const*, ExpressionData*, std::hash<ScopeItem const*>,
                                       std::equal_to<ScopeItem const*>,
                                       sxu::StlAllocator<std::pair<ScopeItem const* const, ExpressionData*>>>;

    /// The cache serving `target`, brought up to date with the scopes; or null.
    static RebindCache* forTarget(Function const& target);
    void forget() noexcept;

    Function const* mTarget;
    unsigned long mGeneration;
    Map mResolved;
    NodeMap mNodes;
    RebindCache* mOuter;
};

} // namespace detail
} // namespace sxir
