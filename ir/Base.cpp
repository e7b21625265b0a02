#include "ir/Base.hpp"

#include "ir/AuxiliaryData.hpp"
#include "util/Vector.hpp"

#include <memory>
#include <mutex>
#include <unordered_map>

namespace sxir {

namespace {

using AuxiliaryList = sxu::vector<GenericAuxiliaryData*>;

/// The auxiliary data of every object that has some, in attachment order. Objects
/// of different contexts may live in different threads, hence the lock. The table
/// is process bookkeeping, not part of any context, so it uses the standard heap.
struct AuxiliaryTable {
    std::mutex mutex;
    std::unordered_map<Base const*, AuxiliaryList*> lists;
};

AuxiliaryTable& auxiliaryTable()
{
    static AuxiliaryTable* table = new AuxiliaryTable();
    return *table;
}

} // namespace

GenericAuxiliaryData::~GenericAuxiliaryData() = default;

void Base::destroyAuxiliaryData() noexcept
{
    AuxiliaryList* list = nullptr;
    {
        AuxiliaryTable& table = auxiliaryTable();
        std::lock_guard<std::mutex> lock(table.mutex);
        auto const found = table.lists.find(this);
        list = found->second;
        table.lists.erase(found);
    }
    // Outside the lock: what is destroyed may have auxiliary data of its own.
    for (GenericAuxiliaryData* data : *list) {
        GenericAuxiliaryData::destroy(data);
    }
    delete list;
}

void Base::attachGenericAuxiliaryData(GenericAuxiliaryData* data)
{
    if (data == nullptr) {
        return;
    }
    std::unique_ptr<GenericAuxiliaryData> owned(data);
    AuxiliaryTable& table = auxiliaryTable();
    std::lock_guard<std::mutex> lock(table.mutex);
    auto const found = table.lists.find(this);
    if (found != table.lists.end()) {
        found->second->push_back(owned.get());
    } else {
        // The table gains an entry only once its list holds the data.
        std::unique_ptr<AuxiliaryList> list(new AuxiliaryList());
        list->push_back(owned.get());
        table.lists.emplace(this, list.get());
        list.release();
    }
    owned.release();
    mContext |= sHasAuxiliaryData;
}

} // namespace sxir
