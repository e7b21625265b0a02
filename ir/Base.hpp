// sxir::Base: the root of every context-bound object, with its attached auxiliary data.
#pragma once

#include "util/Allocate.hpp"
#include "util/Export.hpp"
#include "util/Vector.hpp"

namespace sxir {

class Context;
class GenericAuxiliaryData;

class SXIR_API Base : public sxu::AllocatorBase {
public:
    explicit Base(Context const& context) : mContext(&context) {}
    Base(Base const&) = delete;
    Base& operator=(Base const&) = delete;
    /// Destroys the attached auxiliary data, first attached first.
    virtual ~Base()
    {
        if (mAuxiliaryData != nullptr) {
            destroyAuxiliaryData();
        }
    }

    Context const& getContext() const { return *mContext; }

    /// Takes ownership of `data` (also when attaching fails); null is ignored.
    void attachGenericAuxiliaryData(GenericAuxiliaryData* data);

    /// Deletes `object` through its virtual destructor; null is ignored.
    static void destroy(Base* object) { delete object; }

private:
    void destroyAuxiliaryData() noexcept;

    Context const* mContext;
    sxu::vector<GenericAuxiliaryData*>* mAuxiliaryData = nullptr;
};

} // namespace sxir
