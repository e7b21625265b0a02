// How each node kind holds its parts: the one place the walks learn a node's sub-expressions and fields from.
#pragma once

#include "ir/ExpressionKindVisitor.hpp"
#include "ir/FunctionSignature.hpp"
#include "ir/MatrixType.hpp"
#include "ir/StatementKindVisitor.hpp"
#include "ir/Variable.hpp"

#include <cstdint>
#include <functional>
#include <string_view>
#include <tuple>

namespace sxir {
namespace detail {

/// The sub-expressions of a node, in order; an unset call operand is null. A client
/// node's operands are read through its getOperand.
struct Children {
    ExpressionDataType::Type kind;
    unsigned long count;
    ExpressionData* const* nodes;
    CustomExpressionData const* custom;

    ExpressionData const* operator[](unsigned long position) const
    {
        return nodes != nullptr ? nodes[position] : custom->getOperand(position).getData();
    }
};

/// Combines hash values: order matters, and no input is lost (each of seed and value, the other fixed,
/// maps one to one). The seed is multiplied before the value joins it, so that equal or swapped
/// inputs do not cancel.
inline std::uint64_t mixHash(std::uint64_t seed, std::uint64_t value)
{
    std::uint64_t const mixed = (seed * 0x9e3779b97f4a7c15ull + value) * 0xbf58476d1ce4e5b9ull;
    return mixed ^ (mixed >> 31);
}

/// How references compare: as the node protocol says, by identity; or, across
/// contexts, by the name and type of what they name.
enum class ReferenceRule { Identity, ByName };

struct NodeAccess : ExpressionKindVisitor<NodeAccess, Children> {
    /// The sub-expressions of `node`.
    SXIR_ALWAYS_INLINE static Children childrenOf(ExpressionData const& node)
    {
        NodeAccess access;
        return access.visit(node);
    }
    /// The sub-expressions of a node of a known class.
    template <class Node>
    SXIR_ALWAYS_INLINE static Children childrenOf(Node const& node)
    {
        return childrenOfKind(Node::sExpressionDataType, node);
    }
    /// The same for a node whose kind the caller already knows.
    SXIR_ALWAYS_INLINE static Children childrenOfKind(ExpressionDataType::Type kind, ExpressionData const& node)
    {
        NodeAccess access;
        return access.visitKind(kind, node);
    }

    static Children visitConstant(Constant const&) { return leaf(ExpressionDataType::Constant); }
    static Children visitVariableRef(VariableRef const&) { return leaf(ExpressionDataType::VariableRef); }
    static Children visitFunctionRef(FunctionRef const&) { return leaf(ExpressionDataType::FunctionRef); }
    static Children visitOperator(Operator const& node)
    {
        return Children{ExpressionDataType::Operator, node.getNumOperands(), node.mOperands, nullptr};
    }
    static Children visitMatrixRef(MatrixRef const& node)
    {
        return Children{ExpressionDataType::MatrixRef, 3, node.mParts, nullptr};
    }
    static Children visitSubMatrix(SubMatrix const& node)
    {
        return Children{ExpressionDataType::SubMatrix, 1, &node.mExpression, nullptr};
    }
    static Children visitFunctionCall(FunctionCall const& node)
    {
        return Children{ExpressionDataType::FunctionCall, node.mParts.size(), node.mParts.data(), nullptr};
    }
    static Children visitCustom(CustomExpressionData const& node)
    {
        return Children{ExpressionDataType::Custom, node.getNumOperands(), nullptr, &node};
    }

    // What a dying node or statement lets go of, in its destructor's order, taken from it one at a
    // time so that each part dies before the next (and before the owner's own auxiliary data).

    struct Part {
        bool taken;           // false once nothing is left to take
        ExpressionData* node; // the sub-expression taken (its reference is the taker's), or null
    };
    /// Takes the next part `node` still holds: a call's signature copy, then the
    /// sub-expressions in order. A client node keeps its parts for its own destructor.
    static Part takeNextPart(ExpressionData& node);
    /// Takes expression `position` of `statement`, or null when it is unset or taken.
    static ExpressionData* takeExpression(Statement& statement, unsigned long position);
    /// The slot of expression `position` of a statement that has given out no handle yet.
    static ExpressionData*& expressionSlot(Statement& statement, unsigned long position);
    /// Destroys what is attached to `object` now, not when it dies.
    static void destroyAuxiliaryData(Base& object) noexcept;

    // A node's own fields (besides its sub-expressions), as its class lists them.

    /// Whether `a` and `b`, of one class, have equal fields.
    template <class Node>
    static bool sameFields(Node const& a, Node const& b, ReferenceRule rule)
    {
        return sameTuples(a.fields(), b.fields(), rule, std::make_index_sequence<fieldCount<Node>()>());
    }
    /// A hash of `node`'s fields: fields equal by `rule` hash alike (by either rule, for ByName).
    template <class Node>
    static std::uint64_t hashFields(Node const& node, std::uint64_t seed, ReferenceRule rule = ReferenceRule::ByName)
    {
        return hashTuple(node.fields(), seed, rule, std::make_index_sequence<fieldCount<Node>()>());
    }
    /// Whether a class's fields are compared after its sub-expressions.
    template <class Node>
    static constexpr bool fieldsAfterChildren()
    {
        return afterChildren<Node>(0);
    }

    /// The hash of a reference to a declaration named `name` of type `type`.
    static std::uint64_t referenceHash(sxu::string const& name, Type const& type);
    static std::uint64_t hashField(Variable const* variable) { return variable->mReferenceHash; }
    static std::uint64_t hashField(Function const* function);
    /// By identity, a reference hashes by the address of what it names.
    template <class Named>
    static std::uint64_t hashField(Named const* named, ReferenceRule rule)
    {
        return rule == ReferenceRule::Identity ? std::hash<Named const*>()(named) : hashField(named);
    }
    template <class Value>
    static std::uint64_t hashField(Value value, ReferenceRule)
    {
        return hashField(value);
    }
    static std::uint64_t hashField(double value)
    {
        // 0.0 and -0.0 are equal and hash alike; NaN equals nothing.
        double const normal = value == 0.0 ? 0.0 : value;
        return std::hash<double>()(normal);
    }
    template <class Integer>
    static std::uint64_t hashField(Integer value)
    {
        return static_cast<std::uint64_t>(value);
    }

    static bool sameField(Variable const* a, Variable const* b, ReferenceRule rule);
    static bool sameField(Function const* a, Function const* b, ReferenceRule rule);
    template <class Value>
    static bool sameField(Value const& a, Value const& b, ReferenceRule)
    {
        return a == b;
    }

    /// Calls `f` with `constant` as the ScalarConstant<T> it is; false for a client constant class.
    template <class F>
    static bool forScalar(Constant const& constant, F&& f)
    {
        return tryScalar<unsigned char>(constant, f) || tryScalar<double>(constant, f) || tryScalar<int>(constant, f) ||
               tryScalar<unsigned int>(constant, f) || tryScalar<char>(constant, f);
    }

    // Nodes rebuilt over already cloned parts, one reference added to each.
    static ExpressionData* makeOperator(Context const& context, OpId::Type op, ExpressionData* const* operands)
    {
        return new Operator(context, op, operands);
    }
    static ExpressionData* makeMatrixRef(Context const& context, ExpressionData* const* parts)
    {
        return new MatrixRef(context, parts);
    }

    // A type's parts, as structural comparison and hashing see them: its own fields (kind,
    // data type, dimension, parameter counts and names) and its inner types (a matrix's
    // base, a signature's parameters: the inputs, then the outputs).

    static bool sameTypeFields(Type const& a, Type const& b);
    static std::uint64_t hashTypeFields(Type const& type);
    static unsigned long numInnerTypes(Type const& type);
    static Type const& innerType(Type const& type, unsigned long position);

private:
    static Children leaf(ExpressionDataType::Type kind) { return Children{kind, 0, nullptr, nullptr}; }

    template <class Node>
    static constexpr unsigned long fieldCount()
    {
        return std::tuple_size<decltype(std::declval<Node const&>().fields())>::value;
    }
    template <class Node>
    static constexpr auto afterChildren(int) -> decltype(Node::sFieldsAfterChildren)
    {
        return Node::sFieldsAfterChildren;
    }
    template <class Node>
    static constexpr bool afterChildren(long)
    {
        return false;
    }
    template <class Tuple, std::size_t... I>
    static bool sameTuples(Tuple const& a, Tuple const& b, ReferenceRule rule, std::index_sequence<I...>)
    {
        static_cast<void>(rule); // unused by a class without fields
        return (sameField(std::get<I>(a), std::get<I>(b), rule) && ...);
    }
    template <class Tuple, std::size_t... I>
    static std::uint64_t hashTuple(Tuple const& fields, std::uint64_t seed, ReferenceRule rule,
                                   std::index_sequence<I...>)
    {
        static_cast<void>(fields); // unused by a class without fields
        static_cast<void>(rule);
        ((seed = mixHash(seed, hashField(std::get<I>(fields), rule))), ...);
        return seed;
    }
    template <class T, class F>
    static bool tryScalar(Constant const& constant, F& f)
    {
        if (!sxu::hasExactType<ScalarConstant<T>>(constant)) {
            return false;
        }
        f(static_cast<ScalarConstant<T> const&>(constant));
        return true;
    }
};

} // namespace detail
} // namespace sxir
