// A contiguous stack that keeps its first N entries inline, for the explicit-stack walks.
#pragma once

#include <cstring>
#include <new>
#include <type_traits>
#include <vector>

namespace sxir {
namespace detail {

/// T must be trivially copyable. Beyond N entries everything moves to the heap. The inline entries
/// are raw storage until pushed: making a stack writes none of them, which a walk of one statement
/// or expression would otherwise pay for every time.
template <class T, unsigned long N = 32>
class SmallStack {
    static_assert(std::is_trivially_copyable<T>::value, "entries are copied as bytes");

public:
    SmallStack() : mData(mInline.entries) {}
    SmallStack(SmallStack const&) = delete;
    SmallStack& operator=(SmallStack const&) = delete;

    bool empty() const { return mSize == 0; }
    unsigned long size() const { return mSize; }
    T& top() { return mData[mSize - 1]; }
    T& operator[](unsigned long index) { return mData[index]; }
    void push(T const& value)
    {
        if (mSize == mCapacity) {
            grow();
        }
        new (&mData[mSize++]) T(value);
    }
    T pop() { return mData[--mSize]; }
    /// Drops the entries from `size` on; `size` is at most size().
    void truncate(unsigned long size) { mSize = size; }

private:
    void grow()
    {
        mHeap.resize(mCapacity * 2);
        if (mData == mInline.entries) {
            std::memcpy(static_cast<void*>(mHeap.data()), mInline.entries, sizeof mInline.entries);
        }
        mData = mHeap.data();
        mCapacity = mHeap.size();
    }

    /// The inline entries, which begin to exist when pushed.
    union Inline {
        Inline() {}
        T entries[N];
    } mInline;
    std::vector<T> mHeap;
    T* mData;
    unsigned long mSize = 0;
    unsigned long mCapacity = N;
};

} // namespace detail
} // namespace sxir
