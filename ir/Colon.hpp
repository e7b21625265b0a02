// sxir::Colon: the fixed range first:last of a sub-matrix selection.
#pragma once

#include <cstdint>

namespace sxir {

/// A plain value; first may exceed last.
class Colon {
public:
    Colon(unsigned long first, unsigned long last) : mFirst(first), mLast(last) {}

    unsigned long getFirst() const { return mFirst; }
    unsigned long getLast() const { return mLast; }

private:
    std::uint64_t mFirst;
    std::uint64_t mLast;
};

} // namespace sxir
