// Copies of expressions and statements for a target function: each source node cloned once per copy.
#pragma once

#include "ir/detail/NodeMemo.hpp"

namespace sxir {

class CompoundStatement;
class ExpressionData;
class Function;
class ScopeItem;
class Statement;

namespace detail {

/// One copy operation into `target`: it remembers the clone of each shared source node,
/// so that nodes shared in the source are shared by their clones (and cloned once), and
/// where each source declaration resolves in the target. Nothing of the source or the
/// target may change while it lives.
class CloneSession {
public:
    explicit CloneSession(Function const& target) : mTarget(target) {}
    ~CloneSession();
    CloneSession(CloneSession const&) = delete;
    CloneSession& operator=(CloneSession const&) = delete;

    Function const& getTarget() const { return mTarget; }
    /// The declaration of `source`'s name as seen from the target's body, or null.
    ScopeItem const* resolve(ScopeItem const& source);
    /// The clone kept for `source`, with a reference added for the caller; or null.
    ExpressionData* findClone(ExpressionData const& source);
    /// Keeps `clone` (adding a reference) as the clone of `source`.
    void keepClone(ExpressionData const& source, ExpressionData& clone);

private:
    Function const& mTarget;
    NodeMemo<ScopeItem const*> mResolved;
    NodeMemo<ExpressionData*> mClones;
    std::vector<ExpressionData*> mKept;
};

/// `node` rebuilt for the session's target; count 1, owned by the caller.
ExpressionData* cloneExpression(ExpressionData const& node, CloneSession& session);
/// The same in a copy operation of its own.
ExpressionData* cloneExpression(ExpressionData const& node, Function const& target);
/// A deep copy of `statement` for `target`; owned by the caller.
Statement* cloneStatement(Statement const& statement, Function const& target);
/// Appends to `target` copies, for its function, of the statements of `source` that are
/// not auto-generated, at every depth; a failure leaves `target` as it was.
void copyStatements(CompoundStatement& target, CompoundStatement const& source);

} // namespace detail
} // namespace sxir
