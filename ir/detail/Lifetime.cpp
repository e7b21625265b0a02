#include "ir/detail/Lifetime.hpp"

#include "ir/detail/Walk.hpp"

namespace sxir {
namespace detail {

namespace {

/// The stack of a destruction walk, threaded through the dying nodes themselves, so
/// that destroying never needs memory.
class DyingNodes {
public:
    bool empty() const { return mTop == nullptr; }
    ExpressionData*& top() { return mTop; }
    void push(ExpressionData* node) { Lifetime::link(node, mTop), mTop = node; }
    ExpressionData* pop()
    {
        ExpressionData* const node = mTop;
        mTop = Lifetime::next(node);
        return node;
    }

private:
    ExpressionData* mTop = nullptr;
};

/// A frame is a dying node; each step takes its next part, and a part that dies with
/// it is walked before the next is taken. The node goes once its parts are gone.
struct Destruction {
    using Frame = ExpressionData*;

    Step step(Frame& node, Frame& child)
    {
        for (;;) {
            NodeAccess::Part const part = NodeAccess::takeNextPart(*node);
            if (!part.taken) {
                return Step::Finish;
            }
            if (part.node != nullptr && Lifetime::dropReference(*part.node)) {
                child = part.node;
                return Step::Descend;
            }
        }
    }
    void finish(Frame const& node) { delete node; }
};

// A node's destructor lets go of its parts, and a part whose count reaches zero is
// destroyed there and then, by recursion, so each part goes before the next and before
// the node's own auxiliary data. Below this depth of such recursion the parts go on the
// walk above instead, which takes them out of the dying nodes itself.
constexpr unsigned sDestructorDepth = 32;
// Client node kinds let go of their parts in their own destructors even on the walk;
// past this further depth their parts wait on a list, to go after the outermost
// destruction, instead of deepening the machine stack.
constexpr unsigned sNestingLimit = sDestructorDepth + 32;
SXIR_FAST_TLS thread_local unsigned tDepth = 0;
SXIR_FAST_TLS thread_local ExpressionData* tWaiting = nullptr;

} // namespace

void Lifetime::link(ExpressionData* node, ExpressionData* next) noexcept
{
    node->mNextDead = next;
}

ExpressionData* Lifetime::next(ExpressionData* node) noexcept
{
    return node->mNextDead;
}

bool Lifetime::dropReference(ExpressionData& node) noexcept
{
    return --node.mCount == 0;
}

void Lifetime::destroy(ExpressionData* node) noexcept
{
    if (tDepth >= sNestingLimit) {
        link(node, tWaiting);
        tWaiting = node;
        return;
    }
    ++tDepth;
    if (tDepth <= sDestructorDepth) {
        delete node;
    } else {
        Destruction destruction;
        runWalk(destruction, node, DyingNodes());
    }
    if (--tDepth == 0) {
        while (ExpressionData* waiting = tWaiting) {
            tWaiting = next(waiting);
            destroy(waiting);
        }
    }
}

void Lifetime::destroyStatements(sxu::list<Statement*>& statements) noexcept
{
    // The statements wait in one list, in the order they go. A statement without nested
    // lists goes at once (its destructor lets go of its expressions); an if statement's
    // branches are moved in front of it in turn, so it is met once before each branch
    // and once after the last, without any memory taken.
    sxu::list<Statement*> pending;
    pending.splice(pending.begin(), statements);
    while (!pending.empty()) {
        Statement* statement = pending.front();
        unsigned long const lists = statement->getNumStatementLists();
        bool moved = false;
        if (lists != 0) {
            for (unsigned long i = 0; i < statement->getNumExpressions(); ++i) {
                if (ExpressionData* taken = NodeAccess::takeExpression(*statement, i)) {
                    taken->releaseReference();
                }
            }
            for (unsigned long i = 0; i < lists && !moved; ++i) {
                CompoundStatement& list = statement->getStatementList(i);
                if (!list.getStatementList().empty()) {
                    pending.splice(pending.begin(), list.getStatementList());
                    moved = true;
                } else {
                    // Its statements are gone: the list's own auxiliary data goes next.
                    NodeAccess::destroyAuxiliaryData(list);
                }
            }
        }
        if (!moved) {
            pending.pop_front();
            delete statement;
        }
    }
}

} // namespace detail
} // namespace sxir
