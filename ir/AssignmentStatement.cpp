#include "ir/AssignmentStatement.hpp"

#include "ir/detail/ExpressionWalk.hpp"
#include "ir/detail/HandleCache.hpp"
#include "ir/detail/TextSink.hpp"
#include "util/Assertion.hpp"

#include <memory>

namespace sxir {

AssignmentStatement::AssignmentStatement(Function const& function) : StatementShim(function) {}

AssignmentStatement::~AssignmentStatement()
{
    detail::HandleCache::release(mHandles, mSides, sNumSides);
}

ExpressionData const& AssignmentStatement::getNode(Side side) const
{
    SXU_CHECK(static_cast<unsigned long>(side) < sNumSides, "assignment side out of range");
    SXU_CHECK(mSides[side] != nullptr, "reading an assignment side that was never set");
    return *mSides[side];
}

Expression const& AssignmentStatement::getExpression(Side side) const
{
    return detail::HandleCache::get(mHandles, side, const_cast<ExpressionData*>(&getNode(side)));
}

void AssignmentStatement::setExpression(Side side, Expression const& expression)
{
    SXU_CHECK(static_cast<unsigned long>(side) < sNumSides, "assignment side out of range");
    detail::HandleCache::set(mHandles, side, mSides[side], *expression.getData());
}

sxu::string AssignmentStatement::asString() const
{
    sxu::string text;
    {
        detail::TextSink sink(text);
        detail::ExpressionWalk::print(getNode(LHS), sink);
        sink.append('=');
        detail::ExpressionWalk::print(getNode(RHS), sink);
    }
    return text;
}

Statement* AssignmentStatement::clone(Function const& target) const
{
    std::unique_ptr<AssignmentStatement> copy(new AssignmentStatement(target));
    for (unsigned long side = 0; side < sNumSides; ++side) {
        // The copy takes over the clone's one reference.
        copy->mSides[side] = getNode(static_cast<Side>(side)).clone(target);
    }
    return copy.release();
}

bool AssignmentStatement::localIsEquivalent(AssignmentStatement const& other) const
{
    return detail::ExpressionWalk::equivalent(getNode(LHS), other.getNode(LHS)) &&
           detail::ExpressionWalk::equivalent(getNode(RHS), other.getNode(RHS));
}

} // namespace sxir
