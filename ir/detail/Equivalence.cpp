#include "ir/detail/Equivalence.hpp"

#include "ir/detail/NodeMemo.hpp"
#include "ir/detail/Walk.hpp"

#include <typeinfo>

namespace sxir {
namespace detail {

namespace {

/// Pairs of nodes: same class, then the class's fields (before or after the
/// sub-expressions, as the class lists them), then the sub-expressions pair by pair.
/// The first difference ends the walk; a pair of shared nodes is compared once.
class ExpressionComparer : public ExpressionKindVisitor<ExpressionComparer, unsigned long> {
public:
    explicit ExpressionComparer(ReferenceRule rule) : mRule(rule) {}

    SXIR_ALWAYS_INLINE unsigned long enter(ExpressionData const* a, ExpressionData const* b, Children& ca, Children& cb)
    {
        if (a == nullptr || b == nullptr) {
            return a == b ? 0 : sStopWalk;
        }
        return visit(*a, *b, ca, cb);
    }
    bool leave(ExpressionData const& a, Children const& ca, ExpressionData const& b)
    {
        return ca.kind != ExpressionDataType::SubMatrix ||
               NodeAccess::sameFields(static_cast<SubMatrix const&>(a), static_cast<SubMatrix const&>(b), mRule);
    }

    // Whether a and b agree before their sub-expressions are compared, and how many of those to compare.
    unsigned long visitConstant(Constant const& a, ExpressionData const& b, Children&, Children&)
    {
        return a.isEquivalent(b) ? 0 : sStopWalk;
    }
    unsigned long visitCustom(CustomExpressionData const& a, ExpressionData const& b, Children&, Children&)
    {
        return a.isEquivalent(b) ? 0 : sStopWalk;
    }
    SXIR_ALWAYS_INLINE unsigned long visitVariableRef(VariableRef const& a, ExpressionData const& b, Children& ca,
                                                      Children& cb)
    {
        return compare(a, b, ca, cb);
    }
    unsigned long visitFunctionRef(FunctionRef const& a, ExpressionData const& b, Children& ca, Children& cb)
    {
        return compare(a, b, ca, cb);
    }
    SXIR_ALWAYS_INLINE unsigned long visitOperator(Operator const& a, ExpressionData const& b, Children& ca,
                                                   Children& cb)
    {
        return compare(a, b, ca, cb);
    }
    unsigned long visitMatrixRef(MatrixRef const& a, ExpressionData const& b, Children& ca, Children& cb)
    {
        return compare(a, b, ca, cb);
    }
    unsigned long visitSubMatrix(SubMatrix const& a, ExpressionData const& b, Children& ca, Children& cb)
    {
        return compare(a, b, ca, cb);
    }
    unsigned long visitFunctionCall(FunctionCall const& a, ExpressionData const& b, Children& ca, Children& cb)
    {
        // A call compares the positions below its own operand count, whatever the other's.
        return compare(a, b, ca, cb);
    }

private:
    template <class Node>
    SXIR_ALWAYS_INLINE unsigned long compare(Node const& a, ExpressionData const& b, Children& ca, Children& cb)
    {
        Node const* other = Node::asSameClass(b);
        if (other == nullptr ||
            (!NodeAccess::fieldsAfterChildren<Node>() && !NodeAccess::sameFields(a, *other, mRule))) {
            return sStopWalk;
        }
        ca = NodeAccess::childrenOf(a);
        if (ca.count == 0) {
            return 0;
        }
        cb = NodeAccess::childrenOf(*other);
        if (a.getReferenceCount() > 1 || other->getReferenceCount() > 1) {
            if (mSeen.find(&a, other) != nullptr) {
                return 0;
            }
            mSeen.insert(&a, other, true);
        }
        return ca.count;
    }

    ReferenceRule mRule;
    NodeMemo<bool> mSeen;
};

bool sameStatementsLocally(Statement const& a, Statement const& b, ReferenceRule rule)
{
    if (typeid(a) != typeid(b)) {
        return false;
    }
    unsigned long const lists = a.getNumStatementLists();
    for (unsigned long i = 0; i < lists; ++i) {
        if (a.getStatementList(i).getStatementList().size() != b.getStatementList(i).getStatementList().size()) {
            return false;
        }
    }
    for (unsigned long i = 0; i < a.getNumExpressions(); ++i) {
        ExpressionData const* left = a.getExpressionNode(i);
        ExpressionData const* right = b.getExpressionNode(i);
        if (left == nullptr || right == nullptr ? left != right : !equivalent(*left, *right, rule)) {
            return false;
        }
    }
    return true;
}

/// Two statements of one kind whose nested lists are compared statement by statement.
struct StatementComparer {
    using Position = sxu::list<Statement*>::const_iterator;
    struct Frame {
        Statement const* a;
        Statement const* b;
        unsigned long list;
        Position left;
        Position leftEnd;
        Position right;
    };
    ReferenceRule rule;

    static Frame open(Statement const& a, Statement const& b, unsigned long list)
    {
        auto const& lefts = a.getStatementList(list).getStatementList();
        return Frame{&a, &b, list, lefts.begin(), lefts.end(), b.getStatementList(list).getStatementList().begin()};
    }

    Step step(Frame& frame, Frame& child)
    {
        for (;;) {
            if (frame.left == frame.leftEnd) {
                if (frame.list + 1 >= frame.a->getNumStatementLists()) {
                    return Step::Finish;
                }
                frame = open(*frame.a, *frame.b, frame.list + 1);
                continue;
            }
            Statement const& a = **frame.left++;
            Statement const& b = **frame.right++;
            if (!sameStatementsLocally(a, b, rule)) {
                return Step::Stop;
            }
            if (a.getNumStatementLists() != 0) {
                child = open(a, b, 0);
                return Step::Descend;
            }
        }
    }
};

} // namespace

bool equivalent(ExpressionData const& a, ExpressionData const& b, ReferenceRule rule)
{
    ExpressionComparer comparer(rule);
    return walkExpressionPair(comparer, a, b);
}

bool equivalentSequences(ExpressionData* const* a, ExpressionData* const* b, unsigned long count, ReferenceRule rule)
{
    ExpressionComparer comparer(rule);
    return walkExpressionPairs(comparer, a, count, b, count);
}

bool equivalentStatements(Statement const& a, Statement const& b, ReferenceRule rule)
{
    if (!sameStatementsLocally(a, b, rule)) {
        return false;
    }
    if (a.getNumStatementLists() == 0) {
        return true;
    }
    StatementComparer comparer{rule};
    return runWalk(comparer, StatementComparer::open(a, b, 0));
}

bool sameTypeStructure(Type const& a, Type const& b)
{
    struct TypeComparer {
        struct Frame {
            Type const* a;
            Type const* b;
            unsigned long next;
        };
        Step step(Frame& frame, Frame& child)
        {
            if (frame.next == NodeAccess::numInnerTypes(*frame.a)) {
                return Step::Finish;
            }
            Type const& left = NodeAccess::innerType(*frame.a, frame.next);
            Type const& right = NodeAccess::innerType(*frame.b, frame.next);
            ++frame.next;
            if (!NodeAccess::sameTypeFields(left, right)) {
                return Step::Stop;
            }
            child = Frame{&left, &right, 0};
            return Step::Descend;
        }
    } comparer;
    return NodeAccess::sameTypeFields(a, b) && runWalk(comparer, TypeComparer::Frame{&a, &b, 0});
}

} // namespace detail
} // namespace sxir
