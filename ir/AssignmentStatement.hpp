// sxir::AssignmentStatement: "lhs=rhs".
#pragma once

#include "ir/Expression.hpp"
#include "ir/Statement.hpp"

namespace sxir {

namespace detail {
class HandleCache;
} // namespace detail

class SXIR_API AssignmentStatement final : public StatementShim<AssignmentStatement> {
public:
    static constexpr StatementType::Type sStatementType = StatementType::Assignment;

    enum Side { LHS = 0, RHS = 1 };
    static constexpr unsigned long sNumSides = 2;

    /// Both sides unset.
    explicit AssignmentStatement(Function const& function);
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

    /// The node of a side that was set.
    ExpressionData const& getNode(Side side) const;

private:
    // Counted references to the two sides; the handles getExpression returns are made on demand.
    ExpressionData* mSides[sNumSides] = {};
    mutable detail::HandleCache* mHandles = nullptr;
};

} // namespace sxir
