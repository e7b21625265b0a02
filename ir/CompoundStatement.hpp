// sxir::CompoundStatement: an owning, ordered list of statements; the body of a function or of a branch.
#pragma once

#include "ir/IrObject.hpp"
#include "util/List.hpp"
#include "util/String.hpp"

namespace sxir {

class Function;
class Statement;
class StatementVisitor;

class SXIR_API CompoundStatement : public IrObject {
public:
    explicit CompoundStatement(Function const& function);
    /// Destroys the statements in order, nested ones included, without recursion.
    ~CompoundStatement() override;

    /// Each statement as four blanks, its text and a newline.
    virtual sxu::string asString() const;

    Function const& getFunction() const { return *mFunction; }
    /// The list, for change: the context records a change.
    sxu::list<Statement*>& getStatementList();
    sxu::list<Statement*> const& getStatementList() const { return mStatements; }

    /// Takes ownership of `statement` (also when appending fails) and puts it last.
    void appendStatement(Statement* statement);
    /// Calls the visitor for each statement in order; branches are not entered.
    void visit(StatementVisitor& visitor) const;
    /// Appends clones, for this list's function, of `other`'s statements that are not auto-generated.
    void copyIn(CompoundStatement const& other);

private:
    Function const* mFunction;
    sxu::list<Statement*> mStatements;
};

} // namespace sxir
