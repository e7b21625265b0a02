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
/// of different contexts may live in different threads, hence the lock.
struct AuxiliaryTable {
    std::mutex mutex;
    std::unordered_map<Base const*, AuxiliaryList*, std::hash<Base const*>, std::equal_to<Base const*>,
                       sxu::StlAllocator<std::pair<Base const* const, AuxiliaryList*>>>
        lists;
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
    AuxiliaryList*& list = table.lists[this];
    if (list == nullptr) {
        try {
            list = new AuxiliaryList();
        } catch (...) {
            table.lists.erase(this);
            throw;
        }
    }
    list->push_back(owned.get());
    owned.release();
    mContext |= sHasAuxiliaryData;
}

} // namespace sxir
