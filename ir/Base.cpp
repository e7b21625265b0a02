#include "ir/Base.hpp"

#include "ir/AuxiliaryData.hpp"

#include <memory>

namespace sxir {

GenericAuxiliaryData::~GenericAuxiliaryData() = default;

void Base::destroyAuxiliaryData() noexcept
{
    for (GenericAuxiliaryData* data : *mAuxiliaryData) {
        GenericAuxiliaryData::destroy(data);
    }
    delete mAuxiliaryData;
}

void Base::attachGenericAuxiliaryData(GenericAuxiliaryData* data)
{
    if (data == nullptr) {
        return;
    }
    std::unique_ptr<GenericAuxiliaryData> owned(data);
    if (mAuxiliaryData == nullptr) {
        mAuxiliaryData = new sxu::vector<GenericAuxiliaryData*>();
    }
    mAuxiliaryData->push_back(owned.get());
    owned.release();
}

} // namespace sxir
