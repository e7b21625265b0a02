// sxu::Allocate and sxu::AllocatorBase: the one allocator behind every IR object and container.
#pragma once

#include "util/Export.hpp"

#include <cstddef>
#include <new>

namespace sxu {

/// Storage for IR objects and IR containers. Never returns null: failure throws std::bad_alloc.
struct SXIR_API Allocate {
    /// Storage for `count` elements of `size` bytes, aligned for any IR element type.
    static void* allocate(unsigned long count, unsigned long size);
    /// Releases storage from allocate; null is ignored.
    static void deallocate(void* p) noexcept;
};

/// Routes every new and delete of a derived class to sxu::Allocate.
class SXIR_API AllocatorBase {
public:
    static void* operator new(std::size_t size) { return Allocate::allocate(1, size); }
    static void operator delete(void* p) noexcept { Allocate::deallocate(p); }
    static void* operator new(std::size_t, void* place) noexcept { return place; }
    static void operator delete(void*, void*) noexcept {}
};

/// Standard-library allocator over sxu::Allocate, for the containers of the IR.
template <class T>
class StlAllocator {
public:
    using value_type = T;

    StlAllocator() noexcept = default;
    template <class U>
    StlAllocator(StlAllocator<U> const&) noexcept {}

    T* allocate(std::size_t n) { return static_cast<T*>(Allocate::allocate(n, sizeof(T))); }
    void deallocate(T* p, std::size_t) noexcept { Allocate::deallocate(p); }

    template <class U>
    bool operator==(StlAllocator<U> const&) const noexcept { return true; }
    template <class U>
    bool operator!=(StlAllocator<U> const&) const noexcept { return false; }
};

} // namespace sxu
