#include "ir/detail/Hashing.hpp"

#include "ir/detail/NodeMemo.hpp"
#include "ir/detail/Walk.hpp"

#include <memory>
#include <type_traits>

namespace sxir {
namespace detail {

namespace {

constexpr std::uint64_t sUnsetHash = 0x51ed270b27f5d4c1ull;

/// Post-order: a node's hash mixes its kind, its fields and its sub-expressions' hashes,
/// which wait on a value stack until the node is left.
class ExpressionHasher : public ExpressionKindVisitor<ExpressionHasher, std::uint64_t> {
public:
    explicit ExpressionHasher(ReferenceRule rule) : mRule(rule) {}

    // Inlined into the walk, which reaches it at every node; a shared node's lookup stays apart.
    SXIR_ALWAYS_INLINE unsigned long enter(ExpressionData const* node, Children const& children)
    {
        if (node == nullptr) {
            mValues.push(sUnsetHash);
            return 0;
        }
        if (isSharedInner(*node, children.count) && pushKnown(*node)) {
            return 0;
        }
        std::uint64_t const own = visitKind(children.kind, *node);
        unsigned long const walked = children.kind == ExpressionDataType::Custom ? 0 : children.count;
        mValues.push(own);
        return walked;
    }
    void next(ExpressionData const&, Children const&, unsigned long) {}
    SXIR_ALWAYS_INLINE bool leave(ExpressionData const& node, Children const& children)
    {
        std::size_t const first = mValues.size() - children.count;
        std::uint64_t value = mValues[first - 1];
        for (std::size_t i = first; i < mValues.size(); ++i) {
            value = mixHash(value, mValues[i]);
        }
        mValues.truncate(first);
        mValues.top() = value;
        if (isSharedInner(node, children.count)) {
            keep(node, value);
        }
        return true;
    }
    /// The hash of `root`; the hashes of shared nodes are kept for the next root.
    std::uint64_t hash(ExpressionData const& root)
    {
        walkExpression(*this, root);
        return mValues.pop();
    }
    /// Forgets the shared nodes seen: one that died since may have left its address to another.
    void forget() { mKnown.clear(); }

    // A node's own part: its kind and its fields.
    std::uint64_t visitConstant(Constant const& node)
    {
        std::uint64_t value = ExpressionDataType::Constant;
        NodeAccess::forScalar(node, [&value](auto const& constant) {
            using Value = std::decay_t<decltype(std::get<0>(constant.fields()))>;
            value = NodeAccess::hashFields(constant, value * 8 + ScalarDataType<Value>::sId);
        });
        return value;
    }
    std::uint64_t visitCustom(CustomExpressionData const&) { return ExpressionDataType::Custom; }
    std::uint64_t visitVariableRef(VariableRef const& node) { return own(node); }
    std::uint64_t visitFunctionRef(FunctionRef const& node) { return own(node); }
    std::uint64_t visitOperator(Operator const& node) { return own(node); }
    std::uint64_t visitMatrixRef(MatrixRef const&) { return ExpressionDataType::MatrixRef; }
    std::uint64_t visitSubMatrix(SubMatrix const& node) { return own(node); }
    std::uint64_t visitFunctionCall(FunctionCall const&) { return ExpressionDataType::FunctionCall; }

private:
    /// Pushes the hash of `node` if it is known.
    bool pushKnown(ExpressionData const& node)
    {
        std::uint64_t const* known = mKnown.find(&node);
        if (known != nullptr) {
            mValues.push(*known);
        }
        return known != nullptr;
    }
    void keep(ExpressionData const& node, std::uint64_t value) { mKnown.insert(&node, nullptr, value); }
    template <class Node>
    std::uint64_t own(Node const& node) const
    {
        return NodeAccess::hashFields(node, Node::sExpressionDataType, mRule);
    }

    ReferenceRule mRule;
    // Held inline up to a depth most expressions never reach: a hash allocates nothing then.
    SmallStack<std::uint64_t, 64> mValues;
    NodeMemo<std::uint64_t> mKnown;
};

/// A statement's hash mixes its kind, its expressions' hashes, and the hashes of the
/// statements of its nested lists, in order; they are gathered on a value stack.
/// A statement's own part: its kind and its expressions' hashes.
std::uint64_t ownHash(Statement const& statement, ExpressionHasher& expressions)
{
    std::uint64_t value = mixHash(0x2545f4914f6cdd1dull, statement.getStatementType());
    for (unsigned long i = 0; i < statement.getNumExpressions(); ++i) {
        ExpressionData const* node = statement.getExpressionNode(i);
        value = mixHash(value, node != nullptr ? expressions.hash(*node) : sUnsetHash);
    }
    return value;
}

class StatementHasher {
public:
    struct Data {};

    explicit StatementHasher(ExpressionHasher& expressions) : mExpressions(expressions) {}

    Visit enterStatement(Statement const& statement, Data&)
    {
        mValues.push(ownHash(statement, mExpressions));
        return Visit::Enter;
    }
    Visit enterList(Statement const&, unsigned long position, Data&, Data&)
    {
        mValues.top() = mixHash(mValues.top(), position);
        return Visit::Enter;
    }
    void leaveList(Statement const&, unsigned long, Data&) {}
    bool leaveStatement(Statement const&, Data&)
    {
        if (mValues.size() > 1) {
            std::uint64_t const value = mValues.pop();
            mValues.top() = mixHash(mValues.top(), value);
        }
        return true;
    }
    std::uint64_t result() { return mValues.top(); }

private:
    ExpressionHasher& mExpressions;
    SmallStack<std::uint64_t> mValues;
};

/// The hash of `statement`, its expressions hashed by `expressions`. A statement without nested
/// lists is its own part alone, as the statement walk would give it: no walk is set up for it.
std::uint64_t statementHash(Statement const& statement, ExpressionHasher& expressions)
{
    if (statement.getNumStatementLists() == 0) {
        return ownHash(statement, expressions);
    }
    StatementHasher hasher(expressions);
    StatementWalker<StatementHasher>::walkStatement(hasher, statement, {});
    return hasher.result();
}

} // namespace

std::uint64_t hashOf(ExpressionData const& node)
{
    ExpressionHasher hasher(ReferenceRule::ByName);
    return hasher.hash(node);
}

std::uint64_t hashOf(Statement const& statement)
{
    return hashOf(statement, ReferenceRule::ByName);
}

std::uint64_t hashOf(Statement const& statement, ReferenceRule rule)
{
    ExpressionHasher expressions(rule);
    return statementHash(statement, expressions);
}

class StatementHashes::Hasher : public ExpressionHasher {
public:
    using ExpressionHasher::ExpressionHasher;
};

StatementHashes::StatementHashes(ReferenceRule rule) : mHasher(std::make_unique<Hasher>(rule)) {}

StatementHashes::~StatementHashes() = default;

std::uint64_t StatementHashes::of(Statement const& statement)
{
    mHasher->forget();
    return statementHash(statement, *mHasher);
}

std::uint64_t hashOf(Type const& type)
{
    if (NodeAccess::numInnerTypes(type) == 0) {
        // A builtin type, the type of most variables, needs no walk.
        return NodeAccess::hashTypeFields(type);
    }
    struct TypeHasher {
        struct Frame {
            Type const* type;
            unsigned long next;
        };
        std::uint64_t value;
        Step step(Frame& frame, Frame& child)
        {
            if (frame.next == NodeAccess::numInnerTypes(*frame.type)) {
                return Step::Finish;
            }
            Type const& inner = NodeAccess::innerType(*frame.type, frame.next++);
            value = mixHash(value, NodeAccess::hashTypeFields(inner));
            child = Frame{&inner, 0};
            return Step::Descend;
        }
    } hasher{NodeAccess::hashTypeFields(type)};
    runWalk(hasher, TypeHasher::Frame{&type, 0});
    return hasher.value;
}

} // namespace detail
} // namespace sxir
