// sxu::vector<T>: the standard growable array; the object and its storage come from the utility allocator.
#pragma once

#include "util/Allocate.hpp"

#include <vector>

namespace sxu {

template <class T>
class vector : public std::vector<T, StlAllocator<T>>, public AllocatorBase {
public:
    using std::vector<T, StlAllocator<T>>::vector;

    /// Makes room for `extra` more elements, growing geometrically, so that pushing
    /// them cannot fail and a run of such calls stays linear.
    void reserveMore(typename std::vector<T, StlAllocator<T>>::size_type extra)
    {
        auto const needed = this->size() + extra;
        if (needed > this->capacity()) {
            this->reserve(needed > 2 * this->capacity() ? needed : 2 * this->capacity());
        }
    }
};

} // namespace sxu
