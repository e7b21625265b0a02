#include "ir/Scope.hpp"

#include "ir/AuxiliaryData.hpp"
#include "ir/Context.hpp"
#include "ir/ErrorId.hpp"
#include "ir/ScopeConfiguration.hpp"
#include "ir/ScopeItemVisitor.hpp"
#include "ir/detail/ScopeItemRegistry.hpp"
#include "util/Assertion.hpp"
#include "util/Format.hpp"

namespace sxir {

GenericScopeItemVisitor::~GenericScopeItemVisitor() = default;
GenericConstScopeItemVisitor::~GenericConstScopeItemVisitor() = default;

ScopeData::ScopeData(Scope& owner, ScopeConfiguration const& configuration)
    : Base(owner.getContext()), mOwner(&owner), mConfiguration(&configuration)
{}

ScopeData::~ScopeData()
{
    for (ScopeItem* item : mItems) {
        Base::destroy(item);
    }
}

Scope::Scope(ScopeConfiguration const& configuration)
    : IrObject(configuration.getContext()), mData(new ScopeData(*this, configuration))
{}

Scope::~Scope() = default;

std::unique_ptr<Scope> Scope::createOwning(std::unique_ptr<ScopeConfiguration> configuration)
{
    std::unique_ptr<Scope> scope(new Scope(*configuration));
    auto* record = new AuxiliaryData<ScopeConfiguration>(configuration.get());
    configuration.release();
    scope->attachGenericAuxiliaryData(record);
    return scope;
}

ScopeItem* Scope::addGenericScopeItem(ScopeItemType::Type type, sxu::string const& name)
{
    return adopt(std::unique_ptr<ScopeItem>(detail::ScopeItemRegistry::get().create(type, *this, name)));
}

ScopeItem* Scope::copyGenericItemIn(ScopeItem const& item)
{
    return adopt(std::unique_ptr<ScopeItem>(item.clone(*this, makeUniqueName(item.getName()))));
}

ScopeItem* Scope::adopt(std::unique_ptr<ScopeItem> item)
{
    // Each failed check is reported; a reporter that returns lets the item in regardless.
    sxu::string const none;
    Context const& context = getContext();
    sxu::string const& name = item->getName();
    if (!context.isValidIdentifier(name)) {
        context.reportError(ErrorId::InvalidIdentifier, name, none, none, none);
    }
    if (mData->mIndex.find(name) != mData->mIndex.end()) {
        context.reportError(ErrorId::DuplicateScopeItemNames, name, none, none, none);
    }
    ScopeItemType::Type const type = item->getScopeItemType();
    if (!mData->mConfiguration->isValidScopeItemType(type)) {
        context.reportError(ErrorId::InvalidScopeItemType, ScopeItem::typeToString(type), none, none, none);
    }
    context.noteChange();
    unsigned long const id = mData->mItems.size();
    mData->mItems.reserveMore(1);
    mData->mIndex.emplace(name, id);
    item->setId(id);
    mData->mItems.push_back(item.get());
    return item.release();
}

ScopeItem* Scope::lookupGenericScopeItem(sxu::string const& name)
{
    auto const found = mData->mIndex.find(name);
    return found == mData->mIndex.end() ? nullptr : mData->mItems[found->second];
}

ScopeItem const* Scope::lookupGenericScopeItem(sxu::string const& name) const
{
    return const_cast<Scope*>(this)->lookupGenericScopeItem(name);
}

ScopeItem const* Scope::resolveGenericScopeItem(sxu::string const& name) const
{
    for (Scope const* scope = this; scope != nullptr; scope = scope->mData->mConfiguration->getParentScope()) {
        if (ScopeItem const* item = scope->lookupGenericScopeItem(name)) {
            return item;
        }
    }
    return nullptr;
}

ScopeItem* Scope::getGenericScopeItem(unsigned long index)
{
    SXU_CHECK(index < mData->mItems.size(), "scope item index out of range");
    return mData->mItems[index];
}

ScopeItem const* Scope::getGenericScopeItem(unsigned long index) const
{
    return const_cast<Scope*>(this)->getGenericScopeItem(index);
}

Function const* Scope::resolveFunction() const
{
    return mData->mConfiguration->resolveFunction();
}

void Scope::visitItems(GenericScopeItemVisitor& visitor)
{
    for (unsigned long i = 0; i < mData->mItems.size(); ++i) {
        visitor.visit(*mData->mItems[i]);
    }
}

void Scope::visitItems(GenericConstScopeItemVisitor& visitor) const
{
    for (unsigned long i = 0; i < mData->mItems.size(); ++i) {
        visitor.visit(*mData->mItems[i]);
    }
}

void Scope::copyIn(Scope const& other)
{
    SXU_CHECK(&other != this, "a scope cannot be copied into itself");
    // Only the items present at the start are copied, so copying a scope into
    // itself (refused by the checked build) still ends.
    unsigned long const count = other.mData->mItems.size();
    for (unsigned long i = 0; i < count; ++i) {
        copyGenericItemIn(*other.mData->mItems[i]);
    }
}

sxu::string Scope::asString(sxu::string const& separator) const
{
    sxu::string text;
    bool first = true;
    for (ScopeItem const* item : mData->mItems) {
        if (!first) {
            text += separator;
        }
        text += item->asString();
        first = false;
    }
    return text;
}

sxu::string Scope::makeUniqueName(sxu::string const& name) const
{
    sxu::string candidate = name;
    for (unsigned long counter = 0; lookupGenericScopeItem(candidate) != nullptr; ++counter) {
        candidate = name;
        sxu::appendDecimal(candidate, counter);
    }
    return candidate;
}

} // namespace sxir
