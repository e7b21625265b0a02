// sxir::OpId: the 14 native operators and 16 elementary functions of sxir::Operator.
#pragma once

#include <cstdint>

namespace sxir {

struct OpId {
    enum Type : std::uint32_t {
#define SXIR_NATIVE_UNARY(id, symbol, op) id,
#define SXIR_NATIVE_BINARY(id, symbol, op) id,
#define SXIR_FUNCTION_UNARY(id, name) id,
#define SXIR_FUNCTION_BINARY(id, name) id,
#include "ir/Operations.def"
    };
    static constexpr unsigned long Count = POW + 1;
};

} // namespace sxir
