// Explicit-stack walks over statement trees, so that no operation recurses with the nesting of ifs.
#pragma once

#include "ir/AssignmentStatement.hpp"
#include "ir/IfStatement.hpp"

#include "util/ExactType.hpp"

namespace sxir {
namespace detail {

class TextSink;

/// `statement` as an if statement, or null.
inline IfStatement const* asIf(Statement const* statement)
{
    // The kind query rules out most statements before the class check.
    bool const isIf = statement->getStatementType() == StatementType::If && sxu::hasExactType<IfStatement>(*statement);
    return isIf ? static_cast<IfStatement const*>(statement) : nullptr;
}

/// `statement` as an assignment, or null.
inline AssignmentStatement const* asAssignment(Statement const* statement)
{
    bool const isAssignment = statement->getStatementType() == StatementType::Assignment &&
                              sxu::hasExactType<AssignmentStatement>(*statement);
    return isAssignment ? static_cast<AssignmentStatement const*>(statement) : nullptr;
}

inline IfStatement* asIf(Statement* statement)
{
    return const_cast<IfStatement*>(asIf(static_cast<Statement const*>(statement)));
}

class StatementWalk {
public:
    /// Appends the text of a statement list.
    static void printList(CompoundStatement const& list, sxu::string& out);
    /// Appends the text of an if statement that stands on its own.
    static void printIf(IfStatement const& statement, sxu::string& out);
    static bool equivalentIfs(IfStatement const& a, IfStatement const& b);
    /// Appends to `target` clones, for its function, of the statements of `source`
    /// that are not auto-generated, at every depth.
    static void copyInto(CompoundStatement& target, CompoundStatement const& source);
    /// Destroys every statement of `statements`, nested ones included, and empties it.
    static void destroyAll(sxu::list<Statement*>& statements) noexcept;

private:
    static void print(CompoundStatement const* list, IfStatement const* root, TextSink& out);
};

} // namespace detail
} // namespace sxir
