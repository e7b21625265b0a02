#include "ir/ExpressionData.hpp"

#include "ir/detail/Lifetime.hpp"

namespace sxir {

ExpressionData::~ExpressionData() = default;

void ExpressionData::releaseReference()
{
    if (--mCount == 0) {
        detail::Lifetime::destroy(this);
    }
}

} // namespace sxir
