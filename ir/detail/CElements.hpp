// The element semantics of Elements.hpp as C99 text: type names, operations, conversions, constants and helpers.
#pragma once

#include "ir/detail/Elements.hpp"
#include "util/Export.hpp"

#include <cstdint>
#include <string>
#include <string_view>

namespace sxir {
namespace detail {

// The text assumes the element typedefs (boolean_T, real_T, int32_T, uint32_T, char_T)
// and the declarations of <stdint.h> and <math.h>.
//
// Operands and results: every text below is a primary or postfix expression (a
// name, a constant, a call, or a parenthesized expression), and a placeholder
// "$0" or "$1" takes any such text, or `*name`, unparenthesized. Each placeholder
// appears once, so an operand is evaluated once; C leaves the order of evaluation
// open, so operands should have no side effects (a call goes to a temporary first).

/// A set of the helper functions that C text calls, one bit per helper.
using CHelperSet = std::uint32_t;

/// C99 text with the placeholders "$0" and "$1" for the operands, and the helpers it calls.
struct CFragment {
    std::string text;
    CHelperSet helpers = 0;
};

/// The C typedef of an element type: "boolean_T", "real_T", "int32_T", "uint32_T", "char_T".
SXIR_API char const* cTypeName(DataType type);

/// `op` on operands of the C type of `type`, the operation type that operationType gives;
/// the text has the C type of resultType (relations and logical operations: boolean_T 0 or 1).
/// Empty where `type` is no operation type of `op`. Both operands are always evaluated
/// (the text has no && or ||). The calls of the elementary functions pass each operand
/// through sxir_opaque (see cHelperDefinitions).
SXIR_API CFragment const& cOperation(OpId::Type op, DataType type);

/// The assignment conversion of "$0", of the C type of `from`, to `to`; "$0" itself when `from` is `to`.
SXIR_API CFragment const& cConversion(DataType from, DataType to);

/// A constant of the C type of `type` holding `value`, a value of that type. A real reads
/// back to the same bits: -0.0 and infinities as such, NaN through a helper that keeps its
/// bits, others in the shortest decimal form that reads back exactly.
SXIR_API CFragment cConstant(DataType type, double value);

/// Appends `text` to `out` with "$0" and "$1" replaced by the operands.
SXIR_API void cExpand(std::string& out, std::string const& text, std::string_view operand0,
                      std::string_view operand1 = {});

/// The helpers that C text `text` calls.
SXIR_API CHelperSet cHelpersCalledIn(std::string_view text);

/// The definitions of the helpers in `helpers` and of those they call, in an order in which
/// each follows what it calls; each is static inline, so an unused one costs nothing. Empty
/// for an empty set. sxir_opaque hides a value from the compiler: a compiler may evaluate
/// a math function whose operand it knows, rounding differently from the C library, and
/// after constant propagation any operand may become known, so every call goes through it.
SXIR_API std::string cHelperDefinitions(CHelperSet helpers);

} // namespace detail
} // namespace sxir
