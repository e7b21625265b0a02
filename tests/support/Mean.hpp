// A client node kind for tests: "mean(x,y)", typed like its first operand.
#pragma once

#include "ir/sxir.hpp"

namespace sxir_test {

class Mean : public sxir::CustomExpressionData {
public:
    Mean(sxir::Expression const& x, sxir::Expression const& y) : CustomExpressionData(x.getContext()), mX(x), mY(y) {}
    sxir::Type const* getCustomType() const override { return mX.getGenericType(); }
    unsigned long getNumOperands() const override { return 2; }
    sxir::Expression const& getOperand(unsigned long position) const override { return position == 0 ? mX : mY; }
    sxu::string getCustomName() const override { return "mean"; }
    sxu::string asString() const override { return "mean(" + mX.asString() + "," + mY.asString() + ")"; }
    ExpressionData* clone(sxir::Function const& to) const override { return new Mean(mX.clone(to), mY.clone(to)); }
    bool localIsEquivalent(sxir::CustomExpressionData const& other) const override
    {
        ++sComparisons;
        auto const* mean = dynamic_cast<Mean const*>(&other);
        return mean != nullptr && mX.isEquivalent(mean->mX) && mY.isEquivalent(mean->mY);
    }

    /// How many times any two means were compared.
    static inline int sComparisons = 0;

private:
    sxir::Expression mX, mY;
};

/// A handle on a new mean of `x` and `y`.
inline sxir::Expression mean(sxir::Expression const& x, sxir::Expression const& y)
{
    auto* node = new Mean(x, y);
    sxir::Expression const handle(*node);
    node->releaseReference();
    return handle;
}

} // namespace sxir_test
