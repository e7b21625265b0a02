#include "ir/detail/Resolution.hpp"

#include "ir/Scope.hpp"
#include "ir/detail/NodeMemo.hpp"
#include "ir/detail/Walk.hpp"

namespace sxir {
namespace detail {

namespace {

/// Pre-order search for the first node that names a declaration of a function's scope.
class Resolver : public ExpressionKindVisitor<Resolver, Function const*> {
public:
    unsigned long enter(ExpressionData const* node, Children const& children)
    {
        if (node == nullptr) {
            return 0;
        }
        if (isSharedInner(*node, children.count)) {
            // A shared node searched before found nothing, or the walk would have ended.
            if (mSearched.find(node) != nullptr) {
                return 0;
            }
            mSearched.insert(node, nullptr, true);
        }
        if (children.count != 0 && children.kind != ExpressionDataType::Custom) {
            return children.count;
        }
        mFound = visitKind(children.kind, *node);
        return mFound != nullptr ? sStopWalk : 0;
    }
    /// A call resolves through its last operand slot alone (with none, through nothing).
    unsigned long firstChild(Children const& children) const
    {
        return children.kind == ExpressionDataType::FunctionCall ? (children.count > 1 ? children.count - 1 : 1) : 0;
    }
    void next(ExpressionData const&, Children const&, unsigned long) {}
    bool leave(ExpressionData const&, Children const&) { return true; }
    Function const* found() const { return mFound; }

    Function const* visitConstant(Constant const&) { return nullptr; }
    Function const* visitVariableRef(VariableRef const& node)
    {
        return node.getVariable().getParentScope().resolveFunction();
    }
    Function const* visitFunctionRef(FunctionRef const& node) { return node.resolveFunction(); }
    Function const* visitCustom(CustomExpressionData const& node) { return node.resolveFunction(); }
    // Nodes with sub-expressions resolve through them.
    Function const* visitOperator(Operator const&) { return nullptr; }
    Function const* visitMatrixRef(MatrixRef const&) { return nullptr; }
    Function const* visitSubMatrix(SubMatrix const&) { return nullptr; }
    Function const* visitFunctionCall(FunctionCall const&) { return nullptr; }

private:
    Function const* mFound = nullptr;
    NodeMemo<bool> mSearched;
};

} // namespace

Function const* resolveFunction(ExpressionData const& node)
{
    Resolver resolver;
    walkExpression(resolver, node);
    return resolver.found();
}

bool isSelectionLValue(ExpressionData const& selection)
{
    // Element and sub-range selections hold what they select from as sub-expression 0.
    ExpressionData const* node = &selection;
    for (;;) {
        Children const children = NodeAccess::childrenOf(*node);
        if (children.kind != ExpressionDataType::MatrixRef && children.kind != ExpressionDataType::SubMatrix) {
            return node->isLValue();
        }
        node = children[0];
    }
}

} // namespace detail
} // namespace sxir
