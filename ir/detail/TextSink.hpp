// The output of the printing walks: appends into a string's own storage with one bounds check each.
#pragma once

#include "util/Export.hpp"
#include "util/Format.hpp"
#include "util/String.hpp"

#include <cstdint>
#include <cstring>
#include <string_view>

namespace sxir {
namespace detail {

/// Writes at the end of `out`, which it grows geometrically and trims when it is
/// destroyed: let it go before `out` is used again.
class TextSink {
public:
    explicit TextSink(std::string& out) : mOut(out), mSize(out.size()) { refresh(); }
    ~TextSink() { mOut.resize(mSize); }
    TextSink(TextSink const&) = delete;
    TextSink& operator=(TextSink const&) = delete;

    SXIR_ALWAYS_INLINE void append(char const* text, std::size_t length)
    {
        if (length > mCapacity - mSize) {
            grow(length);
        }
        copySmall(mBuffer + mSize, text, length);
        mSize += length;
    }
    SXIR_ALWAYS_INLINE void append(std::string_view text) { append(text.data(), text.size()); }
    /// The length of the text so far.
    std::size_t size() const { return mSize; }
    SXIR_ALWAYS_INLINE void append(char c)
    {
        if (mSize == mCapacity) {
            grow(1);
        }
        mBuffer[mSize++] = c;
    }
    template <class Integer>
    void appendDecimal(Integer value)
    {
        char buffer[sxu::sNumberTextCapacity];
        append(buffer, sxu::formatDecimal(buffer, value));
    }
    void appendGeneral(double value)
    {
        char buffer[sxu::sNumberTextCapacity];
        append(buffer, sxu::formatGeneral(buffer, value));
    }

private:
    /// Printed pieces are mostly a few bytes long: copy them with a few fixed-size
    /// (possibly overlapping) moves instead of a call.
    SXIR_ALWAYS_INLINE static void copySmall(char* to, char const* from, std::size_t length)
    {
        if (length - 1 < 3) {
            to[0] = from[0];
            to[length / 2] = from[length / 2];
            to[length - 1] = from[length - 1];
        } else if (length - 4 < 4) {
            std::uint32_t head;
            std::uint32_t tail;
            std::memcpy(&head, from, 4);
            std::memcpy(&tail, from + length - 4, 4);
            std::memcpy(to, &head, 4);
            std::memcpy(to + length - 4, &tail, 4);
        } else if (length - 8 < 9) {
            std::uint64_t head;
            std::uint64_t tail;
            std::memcpy(&head, from, 8);
            std::memcpy(&tail, from + length - 8, 8);
            std::memcpy(to, &head, 8);
            std::memcpy(to + length - 8, &tail, 8);
        } else if (length != 0) {
            std::memcpy(to, from, length);
        }
    }

    void grow(std::size_t length)
    {
        std::size_t const needed = mSize + length;
        mOut.resize(needed > 2 * mCapacity + 64 ? needed : 2 * mCapacity + 64);
        refresh();
    }
    void refresh()
    {
        mBuffer = &mOut[0];
        mCapacity = mOut.size();
    }

    std::string& mOut;
    char* mBuffer = nullptr;
    std::size_t mCapacity = 0;
    std::size_t mSize;
};

} // namespace detail
} // namespace sxir
