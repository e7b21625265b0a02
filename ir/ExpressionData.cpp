#include "ir/ExpressionData.hpp"

#include "ir/detail/ExpressionWalk.hpp"
#include "ir/detail/TextSink.hpp"

namespace sxir {

ExpressionData::~ExpressionData() = default;

void ExpressionData::releaseReference()
{
    if (--mCount == 0) {
        detail::ExpressionWalk::destroy(this);
    }
}

unsigned long ExpressionData::openText(detail::TextSink& out) const
{
    out.append(asString());
    return 0;
}

ExpressionData* ExpressionData::rebuild(Function const& target, ExpressionData* const*) const
{
    return clone(target);
}

} // namespace sxir
