// sxir::ExpressionKindVisitor<Derived, Result>: a dispatch over the expression node kinds.
#pragma once

#include "ir/Constant.hpp"
#include "ir/CustomExpressionData.hpp"
#include "ir/FunctionCall.hpp"
#include "ir/FunctionRef.hpp"
#include "ir/MatrixRef.hpp"
#include "ir/Operator.hpp"
#include "ir/SubMatrix.hpp"
#include "ir/VariableRef.hpp"

namespace sxir {

/// Calls Derived's visitConstant, visitVariableRef, visitOperator, visitFunctionRef,
/// visitFunctionCall, visitMatrixRef, visitSubMatrix or visitCustom (client node kinds)
/// with the node as its own class and the further arguments given to visit. The
/// dispatch is generated from ir/ExpressionKinds.def: a Derived that misses a kind
/// does not compile.
template <class Derived, class Result = void>
class ExpressionKindVisitor {
public:
    template <class... Arguments>
    SXIR_ALWAYS_INLINE Result visit(ExpressionData const& node, Arguments&&... arguments)
    {
        return visitKind(node.getExpressionDataType(), node, static_cast<Arguments&&>(arguments)...);
    }

    /// The same for a node whose kind the caller already knows.
    template <class... Arguments>
    SXIR_ALWAYS_INLINE Result visitKind(ExpressionDataType::Type kind, ExpressionData const& node,
                                        Arguments&&... arguments)
    {
        Derived& self = static_cast<Derived&>(*this);
        switch (kind) {
#define SXIR_EXPRESSION_KIND(kind, value, nodeClass)                                                                   \
    case ExpressionDataType::kind:                                                                                     \
        return self.visit##kind(static_cast<nodeClass const&>(node), static_cast<Arguments&&>(arguments)...);
#include "ir/ExpressionKinds.def"
        }
        __builtin_unreachable();
    }
};

} // namespace sxir
