#include "ir/AssignmentStatement.hpp"

#include "ir/detail/Cloning.hpp"
#include "ir/detail/Equivalence.hpp"
#include "ir/detail/HandleCache.hpp"
#include "ir/detail/Printing.hpp"
#include "util/Assertion.hpp"

namespace sxir {

AssignmentStatement::AssignmentStatement(Function const& function) : StatementShim(function) {}

AssignmentStatement::~AssignmentStatement()
{
    detail::HandleCache::release(mHandles, mSides, sNumSides);
}

Expression const& AssignmentStatement::getExpression(Side side) const
{
    SXU_CHECK(static_cast<unsigned long>(side) < sNumSides, "assignment side out of range");
    SXU_CHECK(mSides[side] != nullptr, "reading an assignment side that was never set");
    return detail::HandleCache::view(mHandles, sNumSides, side, *mSides[side]);
}

void AssignmentStatement::setExpression(Side side, Expression const& expression)
{
    SXU_CHECK(static_cast<unsigned long>(side) < sNumSides, "assignment side out of range");
    detail::HandleCache::set(mHandles, side, mSides[side], *expression.getData());
}

CompoundStatement& AssignmentStatement::getStatementList(unsigned long)
{
    sxu_assertion("an assignment holds no statement list", SXU_SOURCE_PATH, __LINE__);
}

sxu::string AssignmentStatement::asString() const
{
    SXU_CHECK(mSides[LHS] != nullptr && mSides[RHS] != nullptr, "reading an assignment side that was never set");
    return detail::textOf(*this);
}

Statement* AssignmentStatement::clone(Function const& target) const
{
    return detail::cloneStatement(*this, target);
}

bool AssignmentStatement::localIsEquivalent(AssignmentStatement const& other) const
{
    return detail::equivalentSequences(mSides, other.mSides, sNumSides);
}

} // namespace sxir
