// Structural equivalence of expressions, statements and types, comparing each pair of shared nodes once.
#pragma once

#include "ir/detail/NodeAccess.hpp"

namespace sxir {
namespace detail {

/// Whether `a` and `b` are equivalent, references compared by `rule`.
bool equivalent(ExpressionData const& a, ExpressionData const& b, ReferenceRule rule = ReferenceRule::Identity);
/// Whether a[i] and b[i] are equivalent for each i below `count`, in order; null (an
/// unset part) is equivalent to null only.
bool equivalentSequences(ExpressionData* const* a, ExpressionData* const* b, unsigned long count,
                         ReferenceRule rule = ReferenceRule::Identity);
/// The same for statements: same kind, same list lengths, equivalent expressions, then
/// the nested statements pair by pair in order.
bool equivalentStatements(Statement const& a, Statement const& b, ReferenceRule rule = ReferenceRule::Identity);
/// Whether two types have the same structure: builtin types of one data type, matrices of
/// one dimension over such base types, signatures of parameters named and typed alike.
bool sameTypeStructure(Type const& a, Type const& b);

} // namespace detail
} // namespace sxir
