// sxu::Allocate and sxu::AllocatorBase: the one allocator behind every IR object and container.
#pragma once

#include "util/Export.hpp"

#include <cstddef>
#include <new>

namespace sxu {

/// This thread's allocations through sxu::Allocate.
struct AllocationStatistics {
    unsigned long allocations = 0;
    unsigned long deallocations = 0;
    /// Bytes allocated and not yet released on this thread (blocks freed by another
    /// thread count there), rounded as the allocator rounds them.
    long bytesInUse = 0;
};

/// Storage for IR objects and IR containers. Never returns null: failure throws std::bad_alloc.
/// Small blocks come from per-thread pools (except in sanitizer builds, which use the heap
/// so that the sanitizers see every block).
struct SXIR_API Allocate {
    /// Storage for `count` elements of `size` bytes, aligned for any IR element type.
    static void* allocate(unsigned long count, unsigned long size);
    /// Releases storage from allocate or allocateBytes; null is ignored.
    static void deallocate(void* p) noexcept;

    /// Storage of `bytes` bytes, aligned for any type of that size.
    static void* allocateBytes(unsigned long bytes);
    /// Releases storage of `bytes` bytes from allocateBytes, without looking up its size; null is ignored.
    static void deallocateBytes(void* p, unsigned long bytes) noexcept;

    static AllocationStatistics getStatistics() noexcept;
};

/// Allocation-failure injection for tests, in builds made with SXIR_FAULT_INJECTION.
struct SXIR_API AllocationFaults {
    static bool isAvailable() noexcept;
    /// Makes the n-th allocation of this thread from now on throw std::bad_alloc; 0 disarms.
    static void failAt(unsigned long n) noexcept;
};

/// Routes every new and delete of a derived class to sxu::Allocate.
class SXIR_API AllocatorBase {
public:
    static void* operator new(std::size_t size) { return Allocate::allocateBytes(size); }
    // A delete expression takes the unsized form; the allocator finds the size from the address.
    static void operator delete(void* p) noexcept { Allocate::deallocate(p); }
    static void operator delete(void* p, std::size_t size) noexcept { Allocate::deallocateBytes(p, size); }
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
    StlAllocator(StlAllocator<U> const&) noexcept
    {}

    T* allocate(std::size_t n)
    {
        if (n > static_cast<std::size_t>(-1) / sizeof(T)) {
            throw std::bad_alloc();
        }
        return static_cast<T*>(Allocate::allocateBytes(n * sizeof(T)));
    }
    void deallocate(T* p, std::size_t n) noexcept { Allocate::deallocateBytes(p, n * sizeof(T)); }

    template <class U>
    bool operator==(StlAllocator<U> const&) const noexcept
    {
        return true;
    }
    template <class U>
    bool operator!=(StlAllocator<U> const&) const noexcept
    {
        return false;
    }
};

} // namespace sxu
