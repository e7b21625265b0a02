// The one traversal engine of the library: every walk over expressions and statements runs on its
// explicit stack, so that none recurses with the depth of the program it walks.
#pragma once

#include "ir/CompoundStatement.hpp"
#include "ir/detail/NodeAccess.hpp"
#include "ir/detail/SmallStack.hpp"

namespace sxir {
namespace detail {

/// What a walk asks of the engine after a step.
enum class Step { Descend, Finish, Stop };

template <class Walk, class Frame>
auto finishFrame(Walk& walk, Frame const& frame, int) -> decltype(walk.finish(frame))
{
    walk.finish(frame);
}
template <class Walk, class Frame>
void finishFrame(Walk&, Frame const&, long)
{}

/// Runs `walk` depth first from `root`. A walk has a trivially copyable `Frame` and
///   Step step(Frame& frame, Frame& child): goes on with `frame`, the top of the stack; either fills
///       `child` and returns Descend (the child is walked, then `frame` is stepped again), or returns
///       Finish when `frame` is done, or Stop to end the whole walk at once;
///   and, if it needs it, void finish(Frame const& frame), called once a finished frame is off the stack.
/// The stack is the engine's own, unless a walk that must not allocate brings one
/// (push, pop, top, empty). Returns false when the walk stopped.
template <class Walk, class Stack = SmallStack<typename Walk::Frame>>
bool runWalk(Walk& walk, typename Walk::Frame const& root, Stack&& stack = Stack())
{
    stack.push(root);
    while (!stack.empty()) {
        typename Walk::Frame child{};
        switch (walk.step(stack.top(), child)) {
        case Step::Descend:
            stack.push(child);
            break;
        case Step::Finish:
            finishFrame(walk, stack.pop(), 0);
            break;
        case Step::Stop:
            return false;
        }
    }
    return true;
}

/// Returned by an expression pass's enter to end the walk.
constexpr unsigned long sStopWalk = ~0ul;

/// The first child a pass walks: 0, unless it defines firstChild(children).
template <class Pass>
auto firstChildFor(Pass& pass, Children const& children, int) -> decltype(pass.firstChild(children))
{
    return pass.firstChild(children);
}
template <class Pass>
unsigned long firstChildFor(Pass&, Children const&, long)
{
    return 0;
}

/// Expressions are mostly shallow: the walks follow them by recursion, which costs
/// less than frames, down to this depth, and go on below it with frames on the
/// explicit stack, so the machine stack never holds more than this many levels.
constexpr unsigned sRecursionLimit = 48;

SXIR_ALWAYS_INLINE Children childrenOrNone(ExpressionData const* node)
{
    return node != nullptr ? NodeAccess::childrenOf(*node)
                           : Children{ExpressionDataType::Constant, 0, nullptr, nullptr};
}

template <class Pass>
struct ExpressionWalk {
    struct Frame {
        ExpressionData const* node;
        Children children;
        unsigned long next;
        unsigned long end;
        bool childPending;
    };
    Pass& pass;

    Step step(Frame& frame, Frame& child)
    {
        if (frame.childPending) {
            frame.childPending = false;
            pass.next(*frame.node, frame.children, frame.next);
        }
        while (frame.next < frame.end) {
            ExpressionData const* node = frame.children[frame.next++];
            Children const children = childrenOrNone(node);
            unsigned long const count = pass.enter(node, children);
            if (count == sStopWalk) {
                return Step::Stop;
            }
            if (count != 0) {
                child = Frame{node, children, firstChildFor(pass, children, 0), count, false};
                frame.childPending = true;
                return Step::Descend;
            }
            pass.next(*frame.node, frame.children, frame.next);
        }
        return pass.leave(*frame.node, frame.children) ? Step::Finish : Step::Stop;
    }

    /// Walks the children of a node that was entered, and leaves it.
    bool walkBelow(ExpressionData const& node, Children const& children, unsigned long end, unsigned depth)
    {
        if (depth >= sRecursionLimit) {
            return runWalk(*this, Frame{&node, children, firstChildFor(pass, children, 0), end, false});
        }
        for (unsigned long i = firstChildFor(pass, children, 0); i < end; ++i) {
            ExpressionData const* child = children[i];
            Children const grandChildren = childrenOrNone(child);
            unsigned long const count = pass.enter(child, grandChildren);
            if (count == sStopWalk || (count != 0 && !walkBelow(*child, grandChildren, count, depth + 1))) {
                return false;
            }
            pass.next(node, children, i + 1);
        }
        return pass.leave(node, children);
    }
};

/// Walks the nodes of an expression depth first, as `Pass` directs, each node at each
/// of its uses (a pass that wants each shared node once skips the uses it has seen):
///   unsigned long enter(ExpressionData const* node, Children const& children): `node` is reached
///       (null for an unset call operand, with no children); returns how many of its first
///       children to walk, or sStopWalk (a pass that defines firstChild(children) starts there);
///   void next(ExpressionData const& node, Children const& children, unsigned long done): `done` of
///       its children are walked;
///   bool leave(ExpressionData const& node, Children const& children): all of them are; false ends
///       the walk.
/// Returns false when the pass ended the walk.
template <class Pass>
bool walkExpression(Pass& pass, ExpressionData const& root)
{
    Children const children = NodeAccess::childrenOf(root);
    unsigned long const count = pass.enter(&root, children);
    if (count == sStopWalk) {
        return false;
    }
    ExpressionWalk<Pass> walk{pass};
    return count == 0 || walk.walkBelow(root, children, count, 0);
}

template <class Pass>
struct ExpressionPairWalk {
    struct Frame {
        ExpressionData const* a;
        ExpressionData const* b;
        Children ca;
        Children cb;
        unsigned long next;
        unsigned long end;
    };
    Pass& pass;

    /// Enters child pair `position` of (ca, cb): b's child is null where b has fewer.
    /// Returns how many of its child pairs to walk, or sStopWalk.
    SXIR_ALWAYS_INLINE unsigned long enterPair(Children const& ca, Children const& cb, unsigned long position,
                                               Frame& child)
    {
        child.a = ca[position];
        child.b = position < cb.count ? cb[position] : nullptr;
        child.next = 0;
        child.end = pass.enter(child.a, child.b, child.ca, child.cb);
        return child.end;
    }

    Step step(Frame& frame, Frame& child)
    {
        while (frame.next < frame.end) {
            unsigned long const count = enterPair(frame.ca, frame.cb, frame.next++, child);
            if (count == sStopWalk) {
                return Step::Stop;
            }
            if (count != 0) {
                return Step::Descend;
            }
        }
        return pass.leave(*frame.a, frame.ca, *frame.b) ? Step::Finish : Step::Stop;
    }

    /// Walks the child pairs of a pair that was entered, and leaves it.
    bool walkBelow(Frame const& frame, unsigned depth)
    {
        return depth >= sRecursionLimit ? walkDeep(frame)
                                        : walkChildren(frame, depth) && pass.leave(*frame.a, frame.ca, *frame.b);
    }
    /// Walks the child pairs of `frame`.
    bool walkChildren(Frame const& frame, unsigned depth)
    {
        for (unsigned long i = 0; i < frame.end; ++i) {
            Frame child;
            unsigned long const count = enterPair(frame.ca, frame.cb, i, child);
            if (count == sStopWalk || (count != 0 && !walkBelow(child, depth + 1))) {
                return false;
            }
        }
        return true;
    }
    __attribute__((noinline)) bool walkDeep(Frame const& frame) { return runWalk(*this, frame); }
};

/// Walks expressions side by side, depth first, as `Pass` directs: the pairs (a[i], b[i])
/// for i below a's count (b[i] null where b has fewer), each with the pairs below it:
///   unsigned long enter(ExpressionData const* a, ExpressionData const* b, Children& ca, Children& cb):
///       a pair is reached (either may be null, for an unset call operand); returns how many child
///       pairs to walk, after filling in the sub-expressions of both, or sStopWalk;
///   bool leave(ExpressionData const& a, Children const& ca, ExpressionData const& b): its child pairs
///       are walked; false ends the walk.
/// Child pair i is (child i of a, child i of b); b's child is null where b has fewer.
template <class Pass>
bool walkExpressionPairs(Pass& pass, ExpressionData* const* a, unsigned long aCount, ExpressionData* const* b,
                         unsigned long bCount)
{
    ExpressionPairWalk<Pass> walk{pass};
    Children const ca{ExpressionDataType::Operator, aCount, a, nullptr};
    Children const cb{ExpressionDataType::Operator, bCount, b, nullptr};
    return walk.walkChildren({nullptr, nullptr, ca, cb, 0, aCount}, 0);
}

/// The same for the one pair (a, b).
template <class Pass>
bool walkExpressionPair(Pass& pass, ExpressionData const& a, ExpressionData const& b)
{
    ExpressionData* const left = const_cast<ExpressionData*>(&a);
    ExpressionData* const right = const_cast<ExpressionData*>(&b);
    return walkExpressionPairs(pass, &left, 1, &right, 1);
}

/// What a statement pass answers on reaching a statement or a nested list.
enum class Visit { Skip, Enter, Stop };

/// Walks statement lists in order, entering the lists nested in statements as `Pass`
/// directs. Each frame carries the pass's `Pass::Data` (trivially copyable):
///   Visit enterStatement(Statement const& statement, Data& data): Enter walks its nested lists;
///   Visit enterList(Statement const& owner, unsigned long position, Data& data, Data& child): Enter
///       walks nested list `position` of `owner` with `child` (a copy of `data` to begin with);
///   void leaveList(Statement const& owner, unsigned long position, Data& data);
///   bool leaveStatement(Statement const& statement, Data& data): false ends the walk.
/// The lists are only read. Returns false when the pass ended the walk.
template <class Pass>
class StatementWalker {
public:
    using Data = typename Pass::Data;
    using Position = sxu::list<Statement*>::const_iterator;

    /// Walks `list` with `data`.
    static bool walkList(Pass& pass, CompoundStatement const& list, Data const& data)
    {
        auto& statements = list.getStatementList();
        Walk walk{pass};
        return runWalk(walk, Frame{statements.begin(), statements.end(), nullptr, 0, false, false, false, data});
    }

    /// Walks `statement` alone, as if it were a list of its own, with `data`.
    static bool walkStatement(Pass& pass, Statement const& statement, Data const& data)
    {
        Walk walk{pass};
        return runWalk(walk, Frame{Position(), Position(), &statement, 0, false, false, false, data});
    }

private:
    struct Frame {
        Position position;
        Position end;
        Statement const* single; // the statement walked alone, or null for a list
        unsigned long nested;    // the nested lists of the current statement taken in turn so far
        bool entered;            // the current statement was entered
        bool listPending;        // a nested list of it is being walked
        bool singleDone;         // the statement walked alone is done
        Data data;
    };

    struct Walk {
        using Frame = StatementWalker::Frame;
        Pass& pass;

        Step step(Frame& frame, Frame& child)
        {
            for (;;) {
                Statement const* statement = frame.single;
                if (statement == nullptr) {
                    if (frame.position == frame.end) {
                        return Step::Finish;
                    }
                    statement = *frame.position;
                } else if (frame.singleDone) {
                    return Step::Finish;
                }
                if (!frame.entered) {
                    Visit const visit = pass.enterStatement(*statement, frame.data);
                    if (visit == Visit::Stop) {
                        return Step::Stop;
                    }
                    frame.entered = true;
                    frame.nested = visit == Visit::Enter ? 0 : statement->getNumStatementLists();
                }
                if (frame.listPending) {
                    frame.listPending = false;
                    pass.leaveList(*statement, frame.nested - 1, frame.data);
                }
                while (frame.nested < statement->getNumStatementLists()) {
                    unsigned long const position = frame.nested++;
                    Data nestedData = frame.data;
                    Visit const visit = pass.enterList(*statement, position, frame.data, nestedData);
                    if (visit == Visit::Stop) {
                        return Step::Stop;
                    }
                    if (visit == Visit::Enter) {
                        auto& statements = statement->getStatementList(position).getStatementList();
                        child =
                            Frame{statements.begin(), statements.end(), nullptr, 0, false, false, false, nestedData};
                        frame.listPending = true;
                        return Step::Descend;
                    }
                }
                frame.entered = false;
                if (frame.single != nullptr) {
                    frame.singleDone = true;
                } else {
                    ++frame.position;
                }
                if (!pass.leaveStatement(*statement, frame.data)) {
                    return Step::Stop;
                }
            }
        }
    };
};

} // namespace detail
} // namespace sxir
