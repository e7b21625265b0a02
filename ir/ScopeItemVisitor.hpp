// Visitors over the items of a scope: generic ones and ones that see a single item kind.
#pragma once

#include "util/Allocate.hpp"
#include "util/Export.hpp"

namespace sxir {

class ScopeItem;

class SXIR_API GenericScopeItemVisitor : public sxu::AllocatorBase {
public:
    virtual ~GenericScopeItemVisitor();
    virtual void visit(ScopeItem& item) = 0;
};

class SXIR_API GenericConstScopeItemVisitor : public sxu::AllocatorBase {
public:
    virtual ~GenericConstScopeItemVisitor();
    virtual void visit(ScopeItem const& item) = 0;
};

/// Sees only the items of kind T; the others are skipped.
template <class T>
class ScopeItemVisitor : public GenericScopeItemVisitor {
public:
    void visit(ScopeItem& item) final
    {
        if (T* typed = dynamic_cast<T*>(&item)) {
            visit(*typed);
        }
    }
    virtual void visit(T& item) = 0;
};

/// Sees only the items of kind T; the others are skipped.
template <class T>
class ConstScopeItemVisitor : public GenericConstScopeItemVisitor {
public:
    void visit(ScopeItem const& item) final
    {
        if (T const* typed = dynamic_cast<T const*>(&item)) {
            visit(*typed);
        }
    }
    virtual void visit(T const& item) = 0;
};

} // namespace sxir
