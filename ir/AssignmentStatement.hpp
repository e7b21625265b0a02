// sxir::AssignmentStatement: "lhs=rhs".
#pragma once

#include "ir/Expression.hpp"
#include "ir/Statement.hpp"

namespace sxir {

namespace detail {
class HandleCache;
struct NodeAccess;
} // namespace detail

class SXIR_API AssignmentStatement final : public StatementShim<AssignmentStatement> {
public:
    static constexpr StatementType::Type sStatementType = StatementType::Assignment;

    enum Side { LHS = 0, RHS = 1 };
    static constexpr unsigned long sNumSides = 2;

    /// Both sides unset.
    explicit AssignmentStatement(Function const& function);
    /// Lets go of the left side, then of the right side.
    ~AssignmentStatement() override;

    /// The side's expression; it must have been set.
    Expression const& getExpression(Side side) const;
    /// Holds `expression`'s node (shared, not cloned) on that side.
    void setExpression(Side side, Expression const& expression);

    /// "x=y": no blanks, no terminator.
    sxu::string asString() const override;
    /// Both sides cloned into `target`; the copy is never auto-generated.
    Statement* clone(Function const& target) const override;
    /// Equivalent left sides, then equivalent right sides.
    bool localIsEquivalent(AssignmentStatement const& other) const override;

    /// The left and right sides.
    unsigned long getNumExpressions() const override { return sNumSides; }
    ExpressionData const* getExpressionNode(unsigned long position) const override { return mSides[position]; }
    unsigned long getNumStatementLists() const override { return 0; }
    CompoundStatement& getStatementList(unsigned long position) override;

private:
    friend struct detail::NodeAccess;

    // Counted references to the two sides; the handles getExpression returns are made on demand.
    ExpressionData* mSides[sNumSides] = {};
    mutable detail::HandleCache* mHandles = nullptr;
};

} // namespace sxir
