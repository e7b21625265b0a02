// The allocator behind every IR object and container.
#include "util/Allocate.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

namespace {

TEST(Allocate, GivesDistinctAlignedStorageEvenForZeroBytesAndThrowsWhenItCannot)
{
    void* const blocks[] = {sxu::Allocate::allocate(3, sizeof(double)), sxu::Allocate::allocate(1, 40),
                            sxu::Allocate::allocate(0, 8), sxu::Allocate::allocate(0, 8)};
    for (int i = 0; i < 4; ++i) {
        ASSERT_NE(blocks[i], nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(blocks[i]) % alignof(std::max_align_t), 0u);
        for (int j = 0; j < i; ++j) {
            EXPECT_NE(blocks[i], blocks[j]);
        }
    }
    std::memset(blocks[1], 0xcd, 40);
    for (void* block : blocks) {
        sxu::Allocate::deallocate(block);
    }
    sxu::Allocate::deallocate(nullptr);
    EXPECT_THROW(sxu::Allocate::allocate(std::numeric_limits<unsigned long>::max() / 2 + 1, 4), std::bad_alloc);
}

TEST(AllocatorBase, StorageGoesBackWithOrWithoutItsSize)
{
    struct Small : sxu::AllocatorBase {
        char bytes[24];
    };
    struct Large : sxu::AllocatorBase {
        char bytes[1000];
    };
    long const before = sxu::Allocate::getStatistics().bytesInUse;
    // A delete expression takes the unsized form; the allocator finds each block's size.
    delete new Small();
    delete new Large();
    Small::operator delete(Small::operator new(sizeof(Small)));
    Large::operator delete(Large::operator new(sizeof(Large)));
    Small::operator delete(Small::operator new(sizeof(Small)), sizeof(Small));
    Large::operator delete(Large::operator new(sizeof(Large)), sizeof(Large));
    sxu::Allocate::deallocate(sxu::Allocate::allocateBytes(40));
    sxu::Allocate::deallocate(sxu::Allocate::allocateBytes(4000));
    EXPECT_EQ(sxu::Allocate::getStatistics().bytesInUse, before);
}

TEST(AllocatorBase, ConstructorFailureReleasesStorage)
{
    struct Throws : sxu::AllocatorBase {
        Throws() { throw 7; }
    };
    // Under the leak checker a missing class-level operator delete would show here.
    EXPECT_THROW(delete new Throws(), int);
}

} // namespace
