// sxir::Base: the root of every context-bound object, with its attached auxiliary data.
#pragma once

#include "util/Allocate.hpp"
#include "util/Export.hpp"

#include <cstdint>

namespace sxir {

class Context;
class GenericAuxiliaryData;

namespace detail {
struct NodeAccess;
} // namespace detail

class SXIR_API Base : public sxu::AllocatorBase {
public:
    explicit Base(Context const& context) : mContext(reinterpret_cast<std::uintptr_t>(&context)) {}
    Base(Base const&) = delete;
    Base& operator=(Base const&) = delete;
    /// Destroys the attached auxiliary data, first attached first.
    virtual ~Base()
    {
        if ((mContext & sHasAuxiliaryData) != 0) {
            destroyAuxiliaryData();
        }
    }

    Context const& getContext() const { return *reinterpret_cast<Context const*>(mContext & ~sHasAuxiliaryData); }

    /// Takes ownership of `data` (also when attaching fails); null is ignored.
    void attachGenericAuxiliaryData(GenericAuxiliaryData* data);

    /// Deletes `object` through its virtual destructor; null is ignored.
    static void destroy(Base* object) { delete object; }

private:
    friend struct detail::NodeAccess;

    void destroyAuxiliaryData() noexcept;

    // Few objects carry auxiliary data, so it lives in a table beside them and
    // the lowest bit of the (aligned) context pointer tells whether there is any.
    static constexpr std::uintptr_t sHasAuxiliaryData = 1;
    std::uintptr_t mContext;
};

} // namespace sxir
