#include "util/Allocate.hpp"

#include <limits>

namespace sxu {

void* Allocate::allocate(unsigned long count, unsigned long size)
{
    if (size != 0 && count > std::numeric_limits<std::size_t>::max() / size) {
        throw std::bad_alloc();
    }
    return ::operator new(count * size == 0 ? 1 : count * size);
}

void Allocate::deallocate(void* p) noexcept
{
    ::operator delete(p);
}

} // namespace sxu
