#include "ir/CompoundStatement.hpp"

#include "ir/Function.hpp"
#include "ir/Statement.hpp"
#include "ir/detail/StatementWalk.hpp"

#include <memory>

namespace sxir {

CompoundStatement::CompoundStatement(Function const& function) : IrObject(function.getContext()), mFunction(&function)
{}

CompoundStatement::~CompoundStatement()
{
    detail::StatementWalk::destroyAll(mStatements);
}

sxu::string CompoundStatement::asString() const
{
    sxu::string text;
    detail::StatementWalk::printList(*this, text);
    return text;
}

void CompoundStatement::appendStatement(Statement* statement)
{
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
    detail::StatementWalk::copyInto(*this, other);
}

} // namespace sxir
