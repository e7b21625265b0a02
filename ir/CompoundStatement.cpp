#include "ir/CompoundStatement.hpp"

#include "ir/Context.hpp"
#include "ir/Function.hpp"
#include "ir/Statement.hpp"
#include "ir/detail/Cloning.hpp"
#include "ir/detail/Lifetime.hpp"
#include "ir/detail/Printing.hpp"

#include <memory>

namespace sxir {

CompoundStatement::CompoundStatement(Function const& function) : IrObject(function.getContext()), mFunction(&function)
{}

CompoundStatement::~CompoundStatement()
{
    detail::Lifetime::destroyStatements(mStatements);
}

sxu::string CompoundStatement::asString() const
{
    sxu::string text;
    detail::printStatements(*this, text);
    return text;
}

sxu::list<Statement*>& CompoundStatement::getStatementList()
{
    getContext().noteChange();
    return mStatements;
}

void CompoundStatement::appendStatement(Statement* statement)
{
    getContext().noteChange();
    std::unique_ptr<Statement> owned(statement);
    mStatements.push_back(statement);
    owned.release();
}

void CompoundStatement::visit(StatementVisitor& visitor) const
{
    for (Statement* statement : mStatements) {
        visitor.visit(statement);
    }
}

void CompoundStatement::copyIn(CompoundStatement const& other)
{
    detail::copyStatements(*this, other);
}

} // namespace sxir
