// What a walk remembers about the shared nodes it met: each distinct node, or pair of nodes, once.
#pragma once

#include "ir/ExpressionData.hpp"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace sxir {
namespace detail {

/// Whether a walk may meet `node` again through another parent: only a node with
/// sub-expressions and more than one holder is worth remembering (a leaf costs less
/// to visit again than to look up).
inline bool isSharedInner(ExpressionData const& node, unsigned long children)
{
    return children != 0 && node.getReferenceCount() > 1;
}

/// A map from a node, or a pair of nodes, to a Value: open addressing over a table
/// of a power-of-two size, which is process bookkeeping and lives on the standard heap.
template <class Value>
class NodeMemo {
public:
    /// The value kept for (a, b), or null.
    Value* find(void const* a, void const* b = nullptr)
    {
        if (mSize == 0) {
            return nullptr;
        }
        for (std::size_t slot = indexOf(a, b);; slot = (slot + 1) & mMask) {
            Entry& entry = mEntries[slot];
            if (entry.a == nullptr) {
                return nullptr;
            }
            if (entry.a == a && entry.b == b) {
                return &entry.value;
            }
        }
    }

    /// Forgets everything, keeping the table.
    void clear()
    {
        if (mSize != 0) {
            std::fill(mEntries.begin(), mEntries.end(), Entry{nullptr, nullptr, Value()});
            mSize = 0;
        }
    }

    /// Keeps `value` for (a, b), which must not be kept yet; `a` is not null.
    void insert(void const* a, void const* b, Value const& value)
    {
        if (2 * (mSize + 1) > mEntries.size()) {
            grow();
        }
        place(Entry{a, b, value});
        ++mSize;
    }

private:
    struct Entry {
        void const* a;
        void const* b;
        Value value;
    };

    std::size_t indexOf(void const* a, void const* b) const
    {
        auto const key = reinterpret_cast<std::uintptr_t>(a) * 0x9e3779b97f4a7c15ull ^
                         reinterpret_cast<std::uintptr_t>(b) * 0xc2b2ae3d27d4eb4full;
        return static_cast<std::size_t>(key ^ (key >> 32)) & mMask;
    }
    void place(Entry const& entry)
    {
        std::size_t slot = indexOf(entry.a, entry.b);
        while (mEntries[slot].a != nullptr) {
            slot = (slot + 1) & mMask;
        }
        mEntries[slot] = entry;
    }
    void grow()
    {
        std::vector<Entry> old(mEntries.empty() ? 16 : 2 * mEntries.size(), Entry{nullptr, nullptr, Value()});
        old.swap(mEntries);
        mMask = mEntries.size() - 1;
        for (Entry const& entry : old) {
            if (entry.a != nullptr) {
                place(entry);
            }
        }
    }

    std::vector<Entry> mEntries;
    /// The table's size less one, which a hash is masked with.
    std::size_t mMask = 0;
    std::size_t mSize = 0;
};

} // namespace detail
} // namespace sxir
