// sxir::IfStatement: a condition with a true and a false branch.
#pragma once

#include "ir/CompoundStatement.hpp"
#include "ir/Expression.hpp"
#include "ir/Statement.hpp"

namespace sxir {

class SXIR_API IfStatement final : public StatementShim<IfStatement> {
public:
    static constexpr StatementType::Type sStatementType = StatementType::If;

    /// Condition the int32 constant 1, both branches empty.
    explicit IfStatement(Function const& function);
    ~IfStatement() override;

    Expression const& getExpression() const { return mCondition; }
    void setExpression(Expression const& condition) { mCondition = condition; }
    /// The branch taken when the condition is `branch`.
    CompoundStatement& getStatements(bool branch) { return mBranches[branchToIndex(branch)]; }
    CompoundStatement const& getStatements(bool branch) const { return mBranches[branchToIndex(branch)]; }
    /// Both branches hold no statement, whatever the condition.
    bool isEmpty() const;

    /// true -> 0, false -> 1.
    static unsigned long branchToIndex(bool branch) { return branch ? 0 : 1; }
    /// 0 -> true, anything else -> false.
    static bool indexToBranch(unsigned long index) { return index == branchToIndex(true); }

    /// "if c\n", the true branch, "else\n" and the false branch when it is not empty, "end\n".
    sxu::string asString() const override;
    /// A deep copy for `target` without the auto-generated statements of the branches.
    Statement* clone(Function const& target) const override;
    /// Same branch lengths, equivalent conditions, then equivalent statements pair by pair.
    bool localIsEquivalent(IfStatement const& other) const override;

private:
    Expression mCondition;
    CompoundStatement mBranches[2];
};

} // namespace sxir
