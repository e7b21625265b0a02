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

void ExpressionData::appendText(detail::TextSink& out, unsigned long piece) const
{
    if (piece == 0) {
        out.append(asString());
    }
}

ExpressionData* ExpressionData::rebuild(Function const& target, ExpressionData* const*) const
{
    return clone(target);
}

} // namespace sxir
