// sxir::GenericAuxiliaryData and sxir::AuxiliaryData<T>: objects owned by the IR object they are attached to.
#pragma once

#include "util/Allocate.hpp"
#include "util/Export.hpp"

namespace sxir {

/// The polymorphic handle through which an object destroys what was attached to it.
class SXIR_API GenericAuxiliaryData : public sxu::AllocatorBase {
public:
    GenericAuxiliaryData() = default;
    GenericAuxiliaryData(GenericAuxiliaryData const&) = delete;
    GenericAuxiliaryData& operator=(GenericAuxiliaryData const&) = delete;
    virtual ~GenericAuxiliaryData();

    /// Deletes `data`; null is ignored.
    static void destroy(GenericAuxiliaryData* data) { delete data; }
};

/// Owns one T and deletes it (through T's virtual destructor) when destroyed.
template <class T>
class AuxiliaryData : public GenericAuxiliaryData {
public:
    explicit AuxiliaryData(T* data) : mData(data) {}
    ~AuxiliaryData() override { delete mData; }

    T* getData() const { return mData; }

private:
    T* mData;
};

} // namespace sxir
