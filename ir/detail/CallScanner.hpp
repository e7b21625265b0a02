// Which shared nodes of a function hold a call: what preparation and C emission both ask before they
// write a shared node's code, since the code of one that holds a call runs again at each use.
#pragma once

#include "ir/detail/NodeMemo.hpp"
#include "ir/detail/Walk.hpp"

#include <vector>

namespace sxir {
namespace detail {

/// Whether an expression holds a call, and which of its shared nodes do: each shared node is
/// looked at once in the function, since what it holds does not change.
class CallScanner {
public:
    explicit CallScanner(NodeMemo<bool>& holders) : mHolders(holders) {}

    unsigned long enter(ExpressionData const* node, Children const& children)
    {
        if (node == nullptr) {
            mValues.push_back(false);
            return 0;
        }
        if (isSharedInner(*node, children.count)) {
            if (bool const* known = mHolders.find(node)) {
                mValues.push_back(*known);
                return 0;
            }
        }
        mValues.push_back(children.kind == ExpressionDataType::FunctionCall);
        return children.count;
    }
    void next(ExpressionData const&, Children const&, unsigned long) {}
    bool leave(ExpressionData const& node, Children const& children)
    {
        std::size_t const first = mValues.size() - children.count;
        bool holds = mValues[first - 1];
        for (std::size_t i = first; i < mValues.size(); ++i) {
            holds = holds || mValues[i];
        }
        mValues.resize(first);
        mValues.back() = holds;
        if (isSharedInner(node, children.count)) {
            mHolders.insert(&node, nullptr, holds);
        }
        return true;
    }
    bool holdsCall(ExpressionData const& root)
    {
        walkExpression(*this, root);
        bool const holds = mValues.back();
        mValues.clear();
        return holds;
    }

private:
    NodeMemo<bool>& mHolders;
    std::vector<bool> mValues;
};

} // namespace detail
} // namespace sxir
