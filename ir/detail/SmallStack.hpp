// A stack that keeps its first N entries inline, for the explicit-stack walks.
#pragma once

#include <vector>

namespace sxir {
namespace detail {

/// T must be trivially copyable; entries beyond N spill to the heap.
template <class T, unsigned long N = 32>
class SmallStack {
public:
    bool empty() const { return mSize == 0; }
    T& top() { return mSize <= N ? mInline[mSize - 1] : mSpill[mSize - N - 1]; }
    void push(T const& value)
    {
        if (mSize < N) {
            mInline[mSize] = value;
        } else {
            mSpill.push_back(value);
        }
        ++mSize;
    }
    T pop()
    {
        T value = top();
        if (mSize > N) {
            mSpill.pop_back();
        }
        --mSize;
        return value;
    }

private:
    T mInline[N];
    std::vector<T> mSpill;
    unsigned long mSize = 0;
};

} // namespace detail
} // namespace sxir
