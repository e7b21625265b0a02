#include "ir/AssignmentStatement.hpp"

#include "ir/detail/ExpressionWalk.hpp"
#include "ir/detail/TextSink.hpp"
#include "util/Assertion.hpp"

#include <memory>

namespace sxir {

AssignmentStatement::AssignmentStatement(Function const& function) : StatementShim(function) {}

AssignmentStatement::~AssignmentStatement()
{
    for (unsigned long index = 0; index < sNumSides; ++index) {
        if (isSet(index)) {
            side(index)->~Expression();
        }
    }
}

Expression const& AssignmentStatement::getExpression(Side side) const
{
    SXU_CHECK(static_cast<unsigned long>(side) < sNumSides, "assignment side out of range");
    SXU_CHECK(isSet(side), "reading an assignment side that was never set");
    return *this->side(side);
}

void AssignmentStatement::setExpression(Side side, Expression const& expression)
{
    SXU_CHECK(static_cast<unsigned long>(side) < sNumSides, "assignment side out of range");
    if (isSet(side)) {
        *this->side(side) = expression;
    } else {
        new (mStorage[side]) Expression(expression);
        mSetSides = static_cast<unsigned char>(mSetSides | (1u << side));
    }
}

sxu::string AssignmentStatement::asString() const
{
    sxu::string text;
    {
        detail::TextSink sink(text);
        detail::appendExpression(sink, getExpression(LHS));
        sink.append('=');
        detail::appendExpression(sink, getExpression(RHS));
    }
    return text;
}

Statement* AssignmentStatement::clone(Function const& target) const
{
    std::unique_ptr<AssignmentStatement> copy(new AssignmentStatement(target));
    for (unsigned long side = 0; side < sNumSides; ++side) {
        copy->setExpression(static_cast<Side>(side), getExpression(static_cast<Side>(side)).clone(target));
    }
    return copy.release();
}

bool AssignmentStatement::localIsEquivalent(AssignmentStatement const& other) const
{
    return getExpression(LHS).isEquivalent(other.getExpression(LHS)) &&
           getExpression(RHS).isEquivalent(other.getExpression(RHS));
}

} // namespace sxir
