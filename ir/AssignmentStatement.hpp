// sxir::AssignmentStatement: "lhs=rhs".
#pragma once

#include "ir/Expression.hpp"
#include "ir/Statement.hpp"

#include <new>

namespace sxir {

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

private:
    Expression* side(unsigned long index) { return std::launder(reinterpret_cast<Expression*>(mStorage[index])); }
    Expression const* side(unsigned long index) const
    {
        return std::launder(reinterpret_cast<Expression const*>(mStorage[index]));
    }
    bool isSet(unsigned long index) const { return (mSetSides & (1u << index)) != 0; }

    // A side's handle lives in its storage once set; bit i of mSetSides tells which are.
    unsigned char mSetSides = 0;
    alignas(Expression) unsigned char mStorage[sNumSides][sizeof(Expression)];
};

} // namespace sxir
