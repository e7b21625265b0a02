// Explicit-stack walks over expression trees, so that no operation recurses with the tree's depth.
#pragma once

#include "ir/Expression.hpp"
#include "ir/ExpressionData.hpp"

namespace sxir {
namespace detail {

class ExpressionWalk {
public:
    /// Appends the text of `root` to `out`.
    static void print(ExpressionData const& root, TextSink& out);
    /// The same with an explicit stack, for the parts below the recursion limit.
    static void printDeep(ExpressionData const& root, TextSink& out);
    /// The text of `root`.
    static sxu::string toString(ExpressionData const& root);
    static bool equivalent(ExpressionData const& a, ExpressionData const& b);
    /// The same with an explicit stack, for the parts below the recursion limit.
    static bool equivalentDeep(ExpressionData const& a, ExpressionData const& b);
    /// `root` rebuilt for `target`; count 1, owned by the caller.
    static ExpressionData* clone(ExpressionData const& root, Function const& target);
    /// The first function found in resolution order, or null.
    static Function const* resolveFunction(ExpressionData const& root);
    /// A structural hash: equivalent expressions hash alike.
    static std::size_t hash(ExpressionData const& root);
    /// Whether an element or sub-range selection is assignable: whether what it finally selects from is.
    static bool isSelectionLValue(ExpressionData const& selection);
    /// Destroys `node`, whose count reached zero, and every node only it held, without recursion.
    static void destroy(ExpressionData* node);

    /// A handle that takes over the creator's reference of `node`.
    static Expression adopt(Context const& context, ExpressionData* node)
    {
        return Expression(context, node, Expression::Adopt());
    }

private:
    static void printShallow(ExpressionData const& node, unsigned long count, TextSink& out, unsigned depth);
    static bool equivalentShallow(ExpressionData const& a, ExpressionData const& b, unsigned long count,
                                  unsigned depth);
};

/// Appends the text of `expression` to `out`.
inline void appendExpression(TextSink& out, Expression const& expression)
{
    ExpressionWalk::print(*expression.getData(), out);
}

} // namespace detail
} // namespace sxir
