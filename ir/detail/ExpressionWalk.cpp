#include "ir/detail/ExpressionWalk.hpp"

#include "ir/Function.hpp"
#include "ir/detail/SmallStack.hpp"
#include "ir/detail/TextSink.hpp"

namespace sxir {
namespace detail {

sxu::string ExpressionWalk::toString(ExpressionData const& root)
{
    sxu::string text;
    {
        TextSink sink(text);
        print(root, sink);
    }
    return text;
}

namespace {

// Expressions are mostly shallow, and following a shallow one by recursion costs
// less than keeping frames; below this depth the walks go on with explicit
// stacks, so the machine stack never holds more than this many levels.
constexpr unsigned sRecursionLimit = 48;

} // namespace

// The shallow walks are given the node's count of sub-expressions, which the
// caller learnt when it opened the node, so that a leaf costs no call of its own.
void ExpressionWalk::printShallow(ExpressionData const& node, unsigned long count, TextSink& out, unsigned depth)
{
    for (unsigned long i = 0; i < count; ++i) {
        ExpressionData const* child = node.getSubExpression(i);
        if (child == nullptr) {
            out.append(std::string_view("(nil)"));
        } else if (depth >= sRecursionLimit) {
            printDeep(*child, out);
        } else if (unsigned long const childCount = child->openText(out)) {
            printShallow(*child, childCount, out, depth + 1);
        }
        node.appendText(out, i + 1);
    }
}

bool ExpressionWalk::equivalentShallow(ExpressionData const& a, ExpressionData const& b, unsigned long count,
                                       unsigned depth)
{
    for (unsigned long i = 0; i < count; ++i) {
        ExpressionData const* left = a.getSubExpression(i);
        ExpressionData const* right = b.getSubExpression(i);
        if (left == nullptr || right == nullptr) {
            if (left != right) {
                return false;
            }
            continue;
        }
        if (depth >= sRecursionLimit) {
            if (!equivalentDeep(*left, *right)) {
                return false;
            }
            continue;
        }
        unsigned long const childCount = left->compareLocally(*right);
        if (childCount == ExpressionData::sDifferent ||
            (childCount != 0 && !equivalentShallow(*left, *right, childCount, depth + 1))) {
            return false;
        }
    }
    return true;
}

void ExpressionWalk::print(ExpressionData const& root, TextSink& out)
{
    if (unsigned long const count = root.openText(out)) {
        printShallow(root, count, out, 0);
    }
}

bool ExpressionWalk::equivalent(ExpressionData const& a, ExpressionData const& b)
{
    unsigned long const count = a.compareLocally(b);
    return count != ExpressionData::sDifferent && (count == 0 || equivalentShallow(a, b, count, 0));
}

void ExpressionWalk::printDeep(ExpressionData const& root, TextSink& out)
{
    // A frame is a node whose sub-expressions are being printed; after each one
    // comes back, the node's text that follows it is appended.
    struct Frame {
        ExpressionData const* node;
        unsigned long count;
        unsigned long next;
        bool childPending;
    };
    SmallStack<Frame> stack;
    if (unsigned long const count = root.openText(out)) {
        stack.push(Frame{&root, count, 0, false});
    }
    while (!stack.empty()) {
        Frame& frame = stack.top();
        if (frame.childPending) {
            frame.node->appendText(out, frame.next);
            frame.childPending = false;
        }
        if (frame.next == frame.count) {
            stack.pop();
            continue;
        }
        ExpressionData const* child = frame.node->getSubExpression(frame.next);
        ++frame.next;
        frame.childPending = true;
        if (child == nullptr) {
            out.append(std::string_view("(nil)"));
            continue;
        }
        if (unsigned long const count = child->openText(out)) {
            stack.push(Frame{child, count, 0, false});
        }
    }
}

bool ExpressionWalk::equivalentDeep(ExpressionData const& a, ExpressionData const& b)
{
    struct Pair {
        ExpressionData const* left;
        ExpressionData const* right;
    };
    SmallStack<Pair> stack;
    stack.push(Pair{&a, &b});
    while (!stack.empty()) {
        Pair const pair = stack.pop();
        if (pair.left == nullptr || pair.right == nullptr) {
            if (pair.left != pair.right) {
                return false;
            }
            continue;
        }
        unsigned long const count = pair.left->compareLocally(*pair.right);
        if (count == ExpressionData::sDifferent) {
            return false;
        }
        // Pushed last first, so pairs are compared in order and the first difference ends the walk.
        for (unsigned long i = count; i-- > 0;) {
            stack.push(Pair{pair.left->getSubExpression(i), pair.right->getSubExpression(i)});
        }
    }
    return true;
}

ExpressionData* ExpressionWalk::clone(ExpressionData const& root, Function const& target)
{
    // Post-order: the clones of a node's sub-expressions wait on `clones`, one
    // reference each, until the node is rebuilt over them.
    struct Frame {
        ExpressionData const* node;
        unsigned long count;
        unsigned long next;
        unsigned long firstClone;
    };
    struct Clones {
        SmallStack<ExpressionData*> nodes;
        ~Clones() { releaseFrom(0); }
        void releaseFrom(unsigned long first)
        {
            while (nodes.size() > first) {
                if (ExpressionData* node = nodes.pop()) {
                    node->releaseReference();
                }
            }
        }
    } clones;

    SmallStack<Frame> stack;
    stack.push(Frame{&root, root.getNumSubExpressions(), 0, 0});
    for (;;) {
        Frame& frame = stack.top();
        if (frame.next < frame.count) {
            ExpressionData const* child = frame.node->getSubExpression(frame.next);
            ++frame.next;
            if (child != nullptr && child->getNumSubExpressions() != 0) {
                stack.push(Frame{child, child->getNumSubExpressions(), 0, clones.nodes.size()});
                continue;
            }
            clones.nodes.push(nullptr);
            if (child != nullptr) {
                clones.nodes.top() = child->rebuild(target, nullptr);
            }
            continue;
        }
        Frame const done = stack.pop();
        ExpressionData* const* subExpressions = done.count == 0 ? nullptr : &clones.nodes[done.firstClone];
        Expression built = adopt(target.getContext(), done.node->rebuild(target, subExpressions));
        clones.releaseFrom(done.firstClone);
        clones.nodes.push(nullptr);
        clones.nodes.top() = built.mData;
        built.mData = nullptr;
        if (stack.empty()) {
            return clones.nodes.pop();
        }
    }
}

Function const* ExpressionWalk::resolveFunction(ExpressionData const& root)
{
    SmallStack<ExpressionData const*> stack;
    stack.push(&root);
    while (!stack.empty()) {
        ExpressionData const* node = stack.pop();
        unsigned long const count = node->getNumSubExpressions();
        if (count == 0) {
            if (Function const* function = node->resolveFunction()) {
                return function;
            }
            continue;
        }
        for (unsigned long i = count; i-- > node->getFirstResolvingSubExpression();) {
            if (ExpressionData const* child = node->getSubExpression(i)) {
                stack.push(child);
            }
        }
    }
    return nullptr;
}

std::size_t ExpressionWalk::hash(ExpressionData const& root)
{
    std::size_t value = 0;
    SmallStack<ExpressionData const*> stack;
    stack.push(&root);
    while (!stack.empty()) {
        ExpressionData const* node = stack.pop();
        // An unset operand mixes in a value of its own.
        std::size_t const local = node == nullptr ? 0x9e3779b9 : node->hashLocally();
        value = (value ^ local) * 0x100000001b3ull + (value >> 29);
        if (node == nullptr) {
            continue;
        }
        for (unsigned long i = node->getNumSubExpressions(); i-- > 0;) {
            stack.push(node->getSubExpression(i));
        }
    }
    return value;
}

bool ExpressionWalk::isSelectionLValue(ExpressionData const& selection)
{
    // Element and sub-range selections hold what they select from as sub-expression 0.
    ExpressionData const* node = &selection;
    for (;;) {
        ExpressionDataType::Type const kind = node->getExpressionDataType();
        if (kind != ExpressionDataType::MatrixRef && kind != ExpressionDataType::SubMatrix) {
            return node->isLValue();
        }
        node = node->getSubExpression(0);
    }
}

void ExpressionWalk::destroy(ExpressionData* node)
{
    // Deleting a node releases its sub-expressions, which may reach zero in turn:
    // they queue here and the outermost call deletes them one after the other.
    SXIR_FAST_TLS thread_local ExpressionData* pending = nullptr;
    SXIR_FAST_TLS thread_local bool draining = false;
    node->mNextDead = pending;
    pending = node;
    if (draining) {
        return;
    }
    draining = true;
    while (pending != nullptr) {
        ExpressionData* dead = pending;
        pending = dead->mNextDead;
        delete dead;
    }
    draining = false;
}

} // namespace detail
} // namespace sxir
