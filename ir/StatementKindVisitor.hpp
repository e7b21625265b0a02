// sxir::StatementKindVisitor<Derived, Result>: a dispatch over the statement kinds.
#pragma once

#include "ir/AssignmentStatement.hpp"
#include "ir/IfStatement.hpp"

namespace sxir {

/// Calls Derived's visitAssignment or visitIf with the statement as its own class and
/// the further arguments given to visit. The dispatch is generated from
/// ir/StatementKinds.def: a Derived that misses a kind does not compile.
template <class Derived, class Result = void>
class StatementKindVisitor {
public:
    template <class... Arguments>
    Result visit(Statement const& statement, Arguments&&... arguments)
    {
        Derived& self = static_cast<Derived&>(*this);
        switch (statement.getStatementType()) {
#define SXIR_STATEMENT_KIND(kind, value, statementClass)                                                               \
    case StatementType::kind:                                                                                          \
        return self.visit##kind(static_cast<statementClass const&>(statement), static_cast<Arguments&&>(arguments)...);
#include "ir/StatementKinds.def"
        }
        __builtin_unreachable();
    }
};

} // namespace sxir
