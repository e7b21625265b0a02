#include "util/Allocate.hpp"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <mutex>

namespace sxu {

namespace {

// Blocks up to sMaxPooled bytes come from per-thread free lists, one per size
// class of sGranule bytes; larger ones from the heap. Classes keep the
// alignment a block of their size needs: a multiple of 16 bytes is 16-aligned.
constexpr std::size_t sGranule = 8;
// A block that is not pooled carries its size in front of it, so that it can be
// released without being told its size.
constexpr std::size_t sHeaderBytes = 16;

std::size_t roundedSize(std::size_t bytes)
{
    return bytes == 0 ? sGranule : (bytes + sGranule - 1) / sGranule * sGranule;
}

struct FreeBlock {
    FreeBlock* next;
};

void* withHeader(std::size_t size)
{
    auto* block = static_cast<char*>(::operator new(size + sHeaderBytes));
    *reinterpret_cast<std::size_t*>(block) = size;
    return block + sHeaderBytes;
}

std::size_t headerSize(void* p)
{
    return *reinterpret_cast<std::size_t*>(static_cast<char*>(p) - sHeaderBytes);
}

void freeWithHeader(void* p)
{
    ::operator delete(static_cast<char*>(p) - sHeaderBytes);
}

#if defined(SXIR_POOL)

constexpr std::size_t sMaxPooled = 256;
constexpr std::size_t sClassCount = sMaxPooled / sGranule + 1;

// Pooled blocks are carved from slabs of one size class each, aligned to their
// size, so the slab of a block, and with it the block's size, follows from its
// address: a two-level table gives each slab's class (0 for memory that is no slab).
constexpr unsigned sSlabShift = 14;
constexpr std::size_t sSlabBytes = std::size_t(1) << sSlabShift;
constexpr unsigned sLeafShift = 32;
constexpr std::size_t sLeafEntries = std::size_t(1) << (sLeafShift - sSlabShift);
constexpr std::size_t sRootEntries = std::size_t(1) << (48 - sLeafShift);

std::atomic<std::uint8_t*> sSlabClasses[sRootEntries];

std::size_t classOf(void const* p) noexcept
{
    auto const address = reinterpret_cast<std::uintptr_t>(p);
    std::size_t const root = address >> sLeafShift;
    if (root >= sRootEntries) {
        return 0;
    }
    std::uint8_t const* leaf = sSlabClasses[root].load(std::memory_order_acquire);
    return leaf == nullptr ? 0 : leaf[(address >> sSlabShift) & (sLeafEntries - 1)];
}

/// Records that the slab at `slab` serves blocks of class `sizeClass`.
void registerSlab(void* slab, std::size_t sizeClass)
{
    auto const address = reinterpret_cast<std::uintptr_t>(slab);
    std::size_t const root = address >> sLeafShift;
    if (root >= sRootEntries) {
        throw std::bad_alloc();
    }
    std::uint8_t* leaf = sSlabClasses[root].load(std::memory_order_acquire);
    if (leaf == nullptr) {
        auto* fresh = new std::uint8_t[sLeafEntries]();
        if (sSlabClasses[root].compare_exchange_strong(leaf, fresh, std::memory_order_acq_rel)) {
            leaf = fresh;
        } else {
            delete[] fresh;
        }
    }
    leaf[(address >> sSlabShift) & (sLeafEntries - 1)] = static_cast<std::uint8_t>(sizeClass);
}

/// Free blocks that threads left behind when they ended, for other threads to reuse.
struct Depot {
    std::mutex mutex;
    FreeBlock* heads[sClassCount] = {};
    std::atomic<bool> holdsBlocks{false};
};

Depot& depot()
{
    static Depot* instance = new Depot();
    return *instance;
}

/// A thread's free lists and, per class, the slab it carves new blocks from. Slabs
/// live as long as the process.
struct ThreadPool {
    FreeBlock* heads[sClassCount];
    char* cursors[sClassCount];
    char* limits[sClassCount];
    bool returnsAtExit; // the thread's blocks go to the depot when it ends
};

SXIR_FAST_TLS thread_local ThreadPool tPool = {};

/// Hands a thread's free blocks to the depot when the thread ends.
struct ThreadPoolReturn {
    ~ThreadPoolReturn()
    {
        Depot& shared = depot();
        std::lock_guard<std::mutex> lock(shared.mutex);
        for (std::size_t c = 0; c < sClassCount; ++c) {
            while (FreeBlock* block = tPool.heads[c]) {
                tPool.heads[c] = block->next;
                block->next = shared.heads[c];
                shared.heads[c] = block;
            }
        }
        shared.holdsBlocks.store(true, std::memory_order_release);
    }
};

thread_local ThreadPoolReturn tPoolReturn;

/// Arranges, once per thread, for its free blocks to go to the depot when it ends.
void returnAtExit()
{
    if (!tPool.returnsAtExit) {
        static_cast<void>(&tPoolReturn);
        tPool.returnsAtExit = true;
    }
}

/// Blocks of class `sizeClass` that ended threads left, taken all at once; null when there are none.
FreeBlock* fromDepot(std::size_t sizeClass)
{
    Depot& shared = depot();
    if (!shared.holdsBlocks.load(std::memory_order_acquire)) {
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(shared.mutex);
    FreeBlock* blocks = shared.heads[sizeClass];
    shared.heads[sizeClass] = nullptr;
    return blocks;
}

/// A block from the class's current slab; when it runs out, first the depot's blocks, then a new slab.
void* carve(std::size_t sizeClass)
{
    std::size_t const size = sizeClass * sGranule;
    char*& cursor = tPool.cursors[sizeClass];
    if (static_cast<std::size_t>(tPool.limits[sizeClass] - cursor) < size) {
        returnAtExit();
        if (FreeBlock* blocks = fromDepot(sizeClass)) {
            tPool.heads[sizeClass] = blocks->next;
            return blocks;
        }
        void* slab = ::operator new(sSlabBytes, std::align_val_t(sSlabBytes));
        try {
            registerSlab(slab, sizeClass);
        } catch (...) {
            ::operator delete(slab, std::align_val_t(sSlabBytes));
            throw;
        }
        cursor = static_cast<char*>(slab);
        tPool.limits[sizeClass] = cursor + sSlabBytes;
    }
    void* block = cursor;
    cursor += size;
    return block;
}

#endif

SXIR_FAST_TLS thread_local AllocationStatistics tStatistics;

#if defined(SXIR_FAULT_INJECTION)
SXIR_FAST_TLS thread_local unsigned long tFailCountdown = 0;
#endif

void* obtain(std::size_t bytes)
{
#if defined(SXIR_FAULT_INJECTION)
    if (tFailCountdown != 0 && --tFailCountdown == 0) {
        throw std::bad_alloc();
    }
#endif
    std::size_t const size = roundedSize(bytes);
    void* block;
#if defined(SXIR_POOL)
    if (size <= sMaxPooled) {
        FreeBlock*& head = tPool.heads[size / sGranule];
        if (head != nullptr) {
            block = head;
            head = head->next;
        } else {
            block = carve(size / sGranule);
        }
    } else {
        block = withHeader(size);
    }
#else
    block = withHeader(size);
#endif
    ++tStatistics.allocations;
    tStatistics.bytesInUse += static_cast<long>(size);
    return block;
}

/// Releases `p`, a block of `size` bytes (already rounded).
void release(void* p, std::size_t size) noexcept
{
    ++tStatistics.deallocations;
    tStatistics.bytesInUse -= static_cast<long>(size);
#if defined(SXIR_POOL)
    if (size <= sMaxPooled) {
        returnAtExit();
        FreeBlock*& head = tPool.heads[size / sGranule];
        auto* block = static_cast<FreeBlock*>(p);
        block->next = head;
        head = block;
        return;
    }
#endif
    freeWithHeader(p);
}

/// The rounded size of a block from obtain, read from where the block came from.
std::size_t sizeOf(void* p) noexcept
{
#if defined(SXIR_POOL)
    if (std::size_t const sizeClass = classOf(p)) {
        return sizeClass * sGranule;
    }
#endif
    return headerSize(p);
}

} // namespace

void* Allocate::allocate(unsigned long count, unsigned long size)
{
    if (size != 0 && count > (std::numeric_limits<std::size_t>::max() - 2 * sHeaderBytes) / size) {
        throw std::bad_alloc();
    }
    // A multiple of 16 bytes keeps the block 16-aligned.
    return obtain(count * size == 0 ? 16 : (count * size + 15) / 16 * 16);
}

void Allocate::deallocate(void* p) noexcept
{
    if (p != nullptr) {
        release(p, sizeOf(p));
    }
}

void* Allocate::allocateBytes(unsigned long bytes)
{
    return obtain(bytes);
}

void Allocate::deallocateBytes(void* p, unsigned long bytes) noexcept
{
    if (p != nullptr) {
        release(p, roundedSize(bytes));
    }
}

AllocationStatistics Allocate::getStatistics() noexcept
{
    return tStatistics;
}

bool AllocationFaults::isAvailable() noexcept
{
#if defined(SXIR_FAULT_INJECTION)
    return true;
#else
    return false;
#endif
}

void AllocationFaults::failAt(unsigned long n) noexcept
{
#if defined(SXIR_FAULT_INJECTION)
    tFailCountdown = n;
#else
    static_cast<void>(n);
#endif
}

} // namespace sxu
