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
// allocate() puts the block's size in front of it, so deallocate() needs none.
constexpr std::size_t sHeaderBytes = 16;

std::size_t roundedSize(std::size_t bytes)
{
    return bytes == 0 ? sGranule : (bytes + sGranule - 1) / sGranule * sGranule;
}

struct FreeBlock {
    FreeBlock* next;
};

#if defined(SXIR_POOL)

constexpr std::size_t sMaxPooled = 256;
constexpr std::size_t sClassCount = sMaxPooled / sGranule + 1;
constexpr std::size_t sChunkBytes = 64 * 1024;

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

/// A thread's free lists and the chunk it carves new blocks from. Chunks live as
/// long as the process.
struct ThreadPool {
    FreeBlock* heads[sClassCount];
    char* cursor;
    char* limit;
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

/// Blocks of `size` bytes that ended threads left, taken all at once; null when there are none.
FreeBlock* fromDepot(std::size_t size)
{
    Depot& shared = depot();
    if (!shared.holdsBlocks.load(std::memory_order_acquire)) {
        return nullptr;
    }
    std::lock_guard<std::mutex> lock(shared.mutex);
    FreeBlock* blocks = shared.heads[size / sGranule];
    shared.heads[size / sGranule] = nullptr;
    return blocks;
}

/// A block from the current chunk; when it runs out, first the depot's blocks, then a new chunk.
void* carve(std::size_t size)
{
    if (static_cast<std::size_t>(tPool.limit - tPool.cursor) < size) {
        returnAtExit();
        if (FreeBlock* blocks = fromDepot(size)) {
            tPool.heads[size / sGranule] = blocks->next;
            return blocks;
        }
        tPool.cursor = static_cast<char*>(::operator new(sChunkBytes));
        tPool.limit = tPool.cursor + sChunkBytes;
    }
    void* block = tPool.cursor;
    tPool.cursor += size;
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
            block = carve(size);
        }
    } else {
        block = ::operator new(size);
    }
#else
    block = ::operator new(size);
#endif
    ++tStatistics.allocations;
    tStatistics.bytesInUse += static_cast<long>(size);
    return block;
}

void release(void* p, std::size_t bytes) noexcept
{
    if (p == nullptr) {
        return;
    }
    std::size_t const size = roundedSize(bytes);
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
    ::operator delete(p);
}

} // namespace

void* Allocate::allocate(unsigned long count, unsigned long size)
{
    if (size != 0 && count > (std::numeric_limits<std::size_t>::max() - 2 * sHeaderBytes) / size) {
        throw std::bad_alloc();
    }
    // A multiple of 16 bytes keeps the block, and so what follows the header, 16-aligned.
    std::size_t const bytes = (count * size + 15) / 16 * 16 + sHeaderBytes;
    auto* block = static_cast<char*>(obtain(bytes));
    *reinterpret_cast<std::size_t*>(block) = bytes;
    return block + sHeaderBytes;
}

void Allocate::deallocate(void* p) noexcept
{
    if (p != nullptr) {
        char* block = static_cast<char*>(p) - sHeaderBytes;
        release(block, *reinterpret_cast<std::size_t*>(block));
    }
}

void* Allocate::allocateBytes(unsigned long bytes)
{
    return obtain(bytes);
}

void Allocate::deallocateBytes(void* p, unsigned long bytes) noexcept
{
    release(p, bytes);
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
