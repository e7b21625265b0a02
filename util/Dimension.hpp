// sxu::Dimension: the row and column count of a two-dimensional matrix.
#pragma once

#include <cstdint>

namespace sxu {

class Dimension {
public:
    Dimension(unsigned long m, unsigned long n) : mM(m), mN(n) {}

    unsigned long m() const { return mM; }
    unsigned long n() const { return mN; }

    bool operator==(Dimension const& other) const { return mM == other.mM && mN == other.mN; }
    bool operator!=(Dimension const& other) const { return !(*this == other); }

private:
    std::uint64_t mM;
    std::uint64_t mN;
};

} // namespace sxu
