// sxu::list<T>: the standard doubly linked list; the object and its nodes come from the utility allocator.
#pragma once

#include "util/Allocate.hpp"

#include <list>

namespace sxu {

template <class T>
class list : public std::list<T, StlAllocator<T>>, public AllocatorBase {
public:
    using std::list<T, StlAllocator<T>>::list;
};

} // namespace sxu
