#include "ir/IfStatement.hpp"

#include "ir/Constant.hpp"
#include "ir/Function.hpp"
#include "ir/detail/Cloning.hpp"
#include "ir/detail/Equivalence.hpp"
#include "ir/detail/HandleCache.hpp"
#include "ir/detail/Printing.hpp"

namespace sxir {

IfStatement::IfStatement(Function const& function)
    : StatementShim(function),
      mCondition(new ScalarConstant<int>(function.getContext(), 1)), mBranches{CompoundStatement(function),
                                                                               CompoundStatement(function)}
{}

IfStatement::~IfStatement()
{
    detail::HandleCache::release(mHandles, &mCondition, 1);
}

Expression const& IfStatement::getExpression() const
{
    return detail::HandleCache::view(mHandles, 1, 0, *mCondition);
}

void IfStatement::setExpression(Expression const& condition)
{
    detail::HandleCache::set(mHandles, 0, mCondition, *condition.getData());
}

bool IfStatement::isEmpty() const
{
    return mBranches[0].getStatementList().empty() && mBranches[1].getStatementList().empty();
}

sxu::string IfStatement::asString() const
{
    return detail::textOf(*this);
}

Statement* IfStatement::clone(Function const& target) const
{
    return detail::cloneStatement(*this, target);
}

bool IfStatement::localIsEquivalent(IfStatement const& other) const
{
    return detail::equivalentStatements(*this, other);
}

} // namespace sxir
