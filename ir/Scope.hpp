// sxir::Scope and sxir::ScopeData: ordered, named, owning collections of declarations.
#pragma once

#include "ir/IrObject.hpp"
#include "ir/ScopeItem.hpp"
#include "util/Vector.hpp"

#include <functional>
#include <memory>
#include <string_view>
#include <unordered_map>

namespace sxir {

class Function;
class GenericConstScopeItemVisitor;
class GenericScopeItemVisitor;
class ScopeConfiguration;

/// The items of a scope, in insertion order, and the index of their names.
class SXIR_API ScopeData : public Base {
public:
    using Items = sxu::vector<ScopeItem*>;
    struct NameHash {
        std::size_t operator()(sxu::string const& name) const noexcept { return std::hash<std::string_view>()(name); }
    };
    /// Names are matched exactly (case-sensitive).
    using Index = std::unordered_map<sxu::string, unsigned long, NameHash, std::equal_to<sxu::string>,
                                     sxu::StlAllocator<std::pair<sxu::string const, unsigned long>>>;

    ScopeData(Scope& owner, ScopeConfiguration const& configuration);
    /// Destroys the items in insertion order.
    ~ScopeData() override;

    Scope& getOwner() const { return *mOwner; }
    ScopeConfiguration const& getConfiguration() const { return *mConfiguration; }
    Items const& getItems() const { return mItems; }
    Index const& getIndex() const { return mIndex; }

private:
    friend class Scope;

    Scope* mOwner;
    ScopeConfiguration const* mConfiguration;
    Items mItems;
    Index mIndex;
};

class SXIR_API Scope : public IrObject {
public:
    /// A scope that refers to `configuration` without owning it.
    explicit Scope(ScopeConfiguration const& configuration);
    ~Scope() override;

    /// A new scope that owns `configuration` (attached as auxiliary data, so it
    /// outlives the items); ownership passes also when this throws.
    static std::unique_ptr<Scope> createOwning(std::unique_ptr<ScopeConfiguration> configuration);

    ScopeData& getScopeData() { return *mData; }
    ScopeData const& getScopeData() const { return *mData; }

    /// Creates an item of kind `type` named `name` and adds it: the name must be an
    /// identifier and new to this scope, and the kind accepted by the configuration.
    ScopeItem* addGenericScopeItem(ScopeItemType::Type type, sxu::string const& name);
    /// Adds a clone of `item` under a name made unique in this scope.
    ScopeItem* copyGenericItemIn(ScopeItem const& item);
    /// Typed form of addGenericScopeItem: `scope.addScopeItem<Variable>("x")`.
    template <class T>
    T* addScopeItem(sxu::string const& name)
    {
        return static_cast<T*>(addGenericScopeItem(T::sScopeItemType, name));
    }

    /// The item named `name` in this scope only, or null.
    ScopeItem* lookupGenericScopeItem(sxu::string const& name);
    ScopeItem const* lookupGenericScopeItem(sxu::string const& name) const;
    /// The nearest declaration of `name`, here or in the enclosing scopes, or null.
    ScopeItem const* resolveGenericScopeItem(sxu::string const& name) const;
    ScopeItem* getGenericScopeItem(unsigned long index);
    ScopeItem const* getGenericScopeItem(unsigned long index) const;
    unsigned long getNumScopeItems() const { return mData->mItems.size(); }
    bool isEmpty() const { return mData->mItems.empty(); }

    /// The function this scope belongs to, or null.
    Function const* resolveFunction() const;

    /// Visits every item in insertion order, including items added during the walk.
    void visitItems(GenericScopeItemVisitor& visitor);
    void visitItems(GenericConstScopeItemVisitor& visitor) const;

    /// Clones every item of `other` into this scope, in order, under unique names.
    void copyIn(Scope const& other);
    /// The items' texts joined by `separator`.
    sxu::string asString(sxu::string const& separator) const;
    /// `name` if it is free in this scope, else the first free one of name0, name1, ...
    sxu::string makeUniqueName(sxu::string const& name) const;

private:
    ScopeItem* adopt(std::unique_ptr<ScopeItem> item);

    std::unique_ptr<ScopeData> mData;
};

} // namespace sxir
