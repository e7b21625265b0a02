// sxu::vector<T>: the standard growable array; the object and its storage come from the utility allocator.
#pragma once

#include "util/Allocate.hpp"

#include <vector>

namespace sxu {

template <class T>
class vector : public std::vector<T, StlAllocator<T>>, public AllocatorBase {
public:
    using std::vector<T, StlAllocator<T>>::vector;
};

} // namespace sxu
