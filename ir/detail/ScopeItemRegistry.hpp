// The process-wide table of scope-item creators, one per kind, filled at load time.
#pragma once

#include "ir/ScopeItem.hpp"

namespace sxir {
namespace detail {

class ScopeItemRegistry {
public:
    using Creator = ScopeItem* (*)(Scope const& scope, sxu::string const& name);

    static ScopeItemRegistry& get();

    /// Returns true so that it can initialise a static flag.
    bool registerCreator(ScopeItemType::Type type, Creator creator);
    /// A new item of kind `type`, owned by the caller.
    ScopeItem* create(ScopeItemType::Type type, Scope const& scope, sxu::string const& name) const;

    template <class T>
    static ScopeItem* createItem(Scope const& scope, sxu::string const& name)
    {
        return new T(scope, name);
    }

private:
    Creator mCreators[ScopeItemType::Count] = {};
};

} // namespace detail
} // namespace sxir
