// sxir::IfStatement: a condition with a true and a false branch.
#pragma once

#include "ir/CompoundStatement.hpp"
#include "ir/Expression.hpp"
#include "ir/Statement.hpp"

namespace sxir {

namespace detail {
class HandleCache;
struct NodeAccess;
} // namespace detail

class SXIR_API IfStatement final : public StatementShim<IfStatement> {
public:
    static constexpr StatementType::Type sStatementType = StatementType::If;

    /// Condition the int32 constant 1, both branches empty.
    explicit IfStatement(Function const& function);
    /// Lets go of the condition, then destroys the true branch and the false branch.
    ~IfStatement() override;

    Expression const& getExpression() const;
    void setExpression(Expression const& condition);
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

    /// The condition.
    unsigned long getNumExpressions() const override { return 1; }
    ExpressionData const* getExpressionNode(unsigned long) const override { return mCondition; }
    /// The true branch (0) and the false branch (1).
    unsigned long getNumStatementLists() const override { return 2; }
    CompoundStatement& getStatementList(unsigned long position) override { return mBranches[position]; }

private:
    friend struct detail::NodeAccess;

    // A counted reference to the condition; the handle getExpression returns is made on demand.
    ExpressionData* mCondition = nullptr;
    mutable detail::HandleCache* mHandles = nullptr;
    CompoundStatement mBranches[2];
};

} // namespace sxir
