// Which function an expression belongs to, and whether a selection is assignable.
#pragma once

namespace sxir {

class ExpressionData;
class Function;

namespace detail {

/// The first function found in resolution order (a call counts only its last operand),
/// or null; each shared node is searched once.
Function const* resolveFunction(ExpressionData const& node);
/// Whether an element or sub-range selection is assignable: whether what it finally selects from is.
bool isSelectionLValue(ExpressionData const& selection);

} // namespace detail
} // namespace sxir
