// sxir::ScopeItem and sxir::ScopeItemShim<T>: named declarations (modules, variables, functions) held by scopes.
#pragma once

#include "ir/Expression.hpp"
#include "ir/IrObject.hpp"
#include "util/String.hpp"

#include <atomic>
#include <cstdint>
#include <memory>

namespace sxir {

class Colon;
class ExpressionData;
class Scope;

struct ScopeItemType {
    enum Type : std::uint32_t { Module = 0, Variable = 1, Function = 2, Unknown = 0xFFFFFFFFu };
    static constexpr unsigned long Count = 3;
};

class SXIR_API ScopeItem : public IrObject {
public:
    /// Builds the item; it joins `parent` only through Scope::addGenericScopeItem or copyGenericItemIn.
    ScopeItem(Scope const& parent, sxu::string const& name);
    ~ScopeItem() override;

    /// The node that stands for a use of this item in an expression, owned by the caller.
    virtual ExpressionData* createExpressionData() const = 0;
    virtual ScopeItemType::Type getScopeItemType() const = 0;
    virtual sxu::string asString() const = 0;
    /// A new item of the same kind named `name` for `target`, with this item's contents; owned by the caller.
    virtual ScopeItem* clone(Scope const& target, sxu::string const& name) const = 0;

    Scope const& getParentScope() const { return *mParentScope; }
    sxu::string const& getName() const { return mName; }
    /// Position in the parent scope; all bits set until the item is added.
    unsigned long getId() const { return mId; }
    void setId(unsigned long id) { mId = id; }
    /// Unique per process, in construction order.
    unsigned long getSerial() const { return mSerial; }
    /// Kept for clients; the library never reads or copies it.
    bool isExported() const { return mExported; }
    void setExported(bool exported) { mExported = exported; }

    /// "module", "variable" or "function".
    static sxu::string const& typeToString(ScopeItemType::Type type);
    /// The kind named by the lower-case word, or ScopeItemType::Unknown.
    static ScopeItemType::Type stringToType(sxu::string const& text);

    /// The item as an expression, indexed as Expression's call operators index.
    Expression operator()(Colon const& range) const;
    Expression operator()(Expression const& i) const;
    Expression operator()(Expression const& i, Expression const& j) const;
    // Plain-number indices become constants in this item's context, as Expression's do.
    template <class I, detail::IfNumber<I> = 0>
    Expression operator()(I i) const
    {
        return Expression(*this)(i);
    }
    template <class I, class J, detail::IfNumber<I, J> = 0>
    Expression operator()(I const& i, J const& j) const
    {
        return Expression(*this)(i, j);
    }

private:
    Scope const* mParentScope;
    sxu::string mName;
    unsigned long mId = ~0ul;
    unsigned long mSerial;
    bool mExported = false;

    static std::atomic<unsigned long> smSerialCount;
};

/// The kind query and the cloning into another scope of the concrete item T, written once.
template <class T>
class ScopeItemShim : public ScopeItem {
public:
    using ScopeItem::ScopeItem;

    ScopeItemType::Type getScopeItemType() const override { return T::sScopeItemType; }

    ScopeItem* clone(Scope const& target, sxu::string const& name) const override
    {
        std::unique_ptr<T> copy(new T(target, name));
        copy->copyIn(static_cast<T const&>(*this));
        return copy.release();
    }
};

} // namespace sxir
