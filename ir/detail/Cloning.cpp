#include "ir/detail/Cloning.hpp"

#include "ir/Function.hpp"
#include "ir/detail/HandleCache.hpp"
#include "ir/detail/Walk.hpp"
#include "util/Assertion.hpp"

#include <memory>

namespace sxir {
namespace detail {

CloneSession::~CloneSession()
{
    for (ExpressionData* clone : mKept) {
        clone->releaseReference();
    }
}

ScopeItem const* CloneSession::resolve(ScopeItem const& source)
{
    if (ScopeItem const* const* known = mResolved.find(&source)) {
        return *known;
    }
    ScopeItem const* item = mTarget(source.getName());
    mResolved.insert(&source, nullptr, item);
    return item;
}

ExpressionData* CloneSession::findClone(ExpressionData const& source)
{
    ExpressionData* const* clone = mClones.find(&source);
    return clone == nullptr ? nullptr : (*clone)->getReference();
}

void CloneSession::keepClone(ExpressionData const& source, ExpressionData& clone)
{
    mKept.reserve(mKept.size() + 1);
    mClones.insert(&source, nullptr, &clone);
    mKept.push_back(clone.getReference());
}

namespace {

/// Post-order: leaves are cloned when they are reached, a node with sub-expressions
/// is rebuilt over their clones, which wait on a value stack (one reference each)
/// until then. A node shared in the source is cloned once and its clone shared.
class ExpressionCloner : public ExpressionKindVisitor<ExpressionCloner, ExpressionData*> {
public:
    explicit ExpressionCloner(CloneSession& session) : mSession(session), mContext(session.getTarget().getContext()) {}
    ~ExpressionCloner()
    {
        for (ExpressionData* clone : mClones) {
            if (clone != nullptr) {
                clone->releaseReference();
            }
        }
    }

    unsigned long enter(ExpressionData const* node, Children const& children)
    {
        mClones.reserve(mClones.size() + 1);
        if (node == nullptr) {
            mClones.push_back(nullptr);
            return 0;
        }
        if (node->getReferenceCount() > 1) {
            if (ExpressionData* known = mSession.findClone(*node)) {
                mClones.push_back(known);
                return 0;
            }
        }
        if (children.count == 0 || children.kind == ExpressionDataType::Custom) {
            mClones.push_back(visitKind(children.kind, *node, nullptr));
            keepIfShared(*node);
            return 0;
        }
        return children.count;
    }
    void next(ExpressionData const&, Children const&, unsigned long) {}
    bool leave(ExpressionData const& node, Children const& children)
    {
        std::size_t const first = mClones.size() - children.count;
        ExpressionData* const built = visitKind(children.kind, node, &mClones[first]);
        while (mClones.size() > first) {
            if (ExpressionData* clone = mClones.back()) {
                clone->releaseReference();
            }
            mClones.pop_back();
        }
        mClones.push_back(built);
        keepIfShared(node);
        return true;
    }
    /// The clone of the root, with its one reference.
    ExpressionData* take()
    {
        ExpressionData* const root = mClones.back();
        mClones.pop_back();
        return root;
    }

    // A new node for the target: a leaf, or a node over the clones of its sub-expressions.
    ExpressionData* visitConstant(Constant const& node, ExpressionData* const*) { return node.localClone(mContext); }
    ExpressionData* visitCustom(CustomExpressionData const& node, ExpressionData* const*)
    {
        return node.clone(mSession.getTarget());
    }
    ExpressionData* visitVariableRef(VariableRef const& node, ExpressionData* const*)
    {
        Variable const* found = rebound(node.getVariable());
        SXU_CHECK(found != nullptr, "the target function declares no variable of the cloned reference's name");
        // Without the declaration the clone keeps referring to the source's variable.
        return new VariableRef(found != nullptr ? *found : node.getVariable());
    }
    ExpressionData* visitFunctionRef(FunctionRef const& node, ExpressionData* const*)
    {
        Function const* found = rebound(node.getFunction());
        SXU_CHECK(found != nullptr, "the target function sees no function of the cloned reference's name");
        return new FunctionRef(found != nullptr ? *found : node.getFunction());
    }
    ExpressionData* visitOperator(Operator const& node, ExpressionData* const* clones)
    {
        return NodeAccess::makeOperator(mContext, node.getOp(), clones);
    }
    ExpressionData* visitMatrixRef(MatrixRef const&, ExpressionData* const* clones)
    {
        return NodeAccess::makeMatrixRef(mContext, clones);
    }
    ExpressionData* visitSubMatrix(SubMatrix const& node, ExpressionData* const* clones)
    {
        return new SubMatrix(Expression(*clones[0]), Colon(node.getFirst(), node.getLast()));
    }
    ExpressionData* visitFunctionCall(FunctionCall const& node, ExpressionData* const* clones)
    {
        Expression const call(*new FunctionCall(Expression(*clones[0])));
        auto& built = const_cast<FunctionCall&>(static_cast<FunctionCall const&>(*call.getData()));
        built.releaseReference();
        for (unsigned long i = 0; i < node.getNumOperands() && i < built.getNumOperands(); ++i) {
            if (clones[1 + i] != nullptr) {
                built.setOperand(i, Expression(*clones[1 + i]));
            }
        }
        return built.getReference();
    }

private:
    /// The declaration of `source`'s name and kind as seen from the target, or null.
    template <class Declaration>
    Declaration const* rebound(Declaration const& source)
    {
        ScopeItem const* item = mSession.resolve(source);
        bool const found = item != nullptr && item->getScopeItemType() == Declaration::sScopeItemType;
        return found ? static_cast<Declaration const*>(item) : nullptr;
    }

    void keepIfShared(ExpressionData const& source)
    {
        if (source.getReferenceCount() > 1) {
            mSession.keepClone(source, *mClones.back());
        }
    }

    CloneSession& mSession;
    Context const& mContext;
    std::vector<ExpressionData*> mClones;
};

struct CopyPlace {
    CompoundStatement* list; // where copies go
    Statement* copy;         // the copy of the statement at hand
    bool skipsGenerated;     // auto-generated statements are left out
};

/// Copies statements in order into the lists that the frames carry; the copy of an if
/// statement joins its list before its branches are filled, so nothing is left unowned.
class StatementCopier {
public:
    using Data = CopyPlace;

    explicit StatementCopier(CloneSession& session) : mSession(session) {}

    Visit enterStatement(Statement const& statement, CopyPlace& place)
    {
        if (place.skipsGenerated && statement.isAutoGenerated()) {
            return Visit::Skip;
        }
        Function const& target = mSession.getTarget();
        std::unique_ptr<Statement> copy(statement.getNumStatementLists() != 0
                                            ? static_cast<Statement*>(new IfStatement(target))
                                            : new AssignmentStatement(target));
        for (unsigned long i = 0; i < statement.getNumExpressions(); ++i) {
            if (ExpressionData const* node = statement.getExpressionNode(i)) {
                ExpressionData*& slot = NodeAccess::expressionSlot(*copy, i);
                ExpressionData* const clone = cloneExpression(*node, mSession);
                if (slot != nullptr) {
                    slot->releaseReference();
                }
                slot = clone;
            }
        }
        place.copy = copy.get();
        place.list->appendStatement(copy.release());
        return Visit::Enter;
    }
    Visit enterList(Statement const&, unsigned long position, CopyPlace& place, CopyPlace& nested)
    {
        nested = CopyPlace{&place.copy->getStatementList(position), nullptr, true};
        return Visit::Enter;
    }
    void leaveList(Statement const&, unsigned long, CopyPlace&) {}
    bool leaveStatement(Statement const&, CopyPlace&) { return true; }

private:
    CloneSession& mSession;
};

} // namespace

ExpressionData* cloneExpression(ExpressionData const& node, CloneSession& session)
{
    ExpressionCloner cloner(session);
    walkExpression(cloner, node);
    return cloner.take();
}

ExpressionData* cloneExpression(ExpressionData const& node, Function const& target)
{
    CloneSession session(target);
    return cloneExpression(node, session);
}

Statement* cloneStatement(Statement const& statement, Function const& target)
{
    CloneSession session(target);
    CompoundStatement copies(target);
    StatementCopier copier(session);
    StatementWalker<StatementCopier>::walkStatement(copier, statement, CopyPlace{&copies, nullptr, false});
    Statement* const copy = copies.getStatementList().front();
    copies.getStatementList().clear();
    return copy;
}

void copyStatements(CompoundStatement& target, CompoundStatement const& source)
{
    // The copies are made into a list of their own and moved over at the end: the
    // source is never walked while it grows, even when the target is the source or
    // one of its branches, and a failure leaves the target as it was.
    CloneSession session(target.getFunction());
    CompoundStatement copies(target.getFunction());
    StatementCopier copier(session);
    StatementWalker<StatementCopier>::walkList(copier, source, CopyPlace{&copies, nullptr, true});
    target.getStatementList().splice(target.getStatementList().end(), copies.getStatementList());
}

} // namespace detail
} // namespace sxir
