#include "ir/IfStatement.hpp"

#include "ir/Function.hpp"
#include "ir/detail/StatementWalk.hpp"

#include <memory>

namespace sxir {

IfStatement::IfStatement(Function const& function)
    : StatementShim(function),
      mCondition(function.getContext(), 1), mBranches{CompoundStatement(function), CompoundStatement(function)}
{}

IfStatement::~IfStatement() = default;

bool IfStatement::isEmpty() const
{
    return mBranches[0].getStatementList().empty() && mBranches[1].getStatementList().empty();
}

sxu::string IfStatement::asString() const
{
    sxu::string text;
    detail::StatementWalk::printIf(*this, text);
    return text;
}

Statement* IfStatement::clone(Function const& target) const
{
    std::unique_ptr<IfStatement> copy(new IfStatement(target));
    copy->setExpression(mCondition.clone(target));
    for (unsigned long index = 0; index < 2; ++index) {
        bool const branch = indexToBranch(index);
        detail::StatementWalk::copyInto(copy->getStatements(branch), getStatements(branch));
    }
    return copy.release();
}

bool IfStatement::localIsEquivalent(IfStatement const& other) const
{
    return detail::StatementWalk::equivalentIfs(*this, other);
}

} // namespace sxir
