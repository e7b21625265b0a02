// What the element operations compute: typing, conversions and operations on element values held as doubles.
#pragma once

#include "ir/OpId.hpp"
#include "util/DataTypeId.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace sxir {
namespace detail {

// Every element value of every type is a double holding that type's value exactly:
// boolean 0 or 1, int32 and char_T integers in their range, uint32 in 0..2^32-1.
// Integer values are never -0.0, so equal values have equal bits. The functions
// below take and give such values; a conversion's source must be a value of its
// `from` type and an operation's operands values of its operation type.

using DataType = sxu::DataTypeId::Type;
using UnaryFn = double (*)(double);
using BinaryFn = double (*)(double, double);

/// The type both operands of an arithmetic operation or relation convert to, as
/// C's usual arithmetic conversions give it: boolean and char_T promote to int32.
inline DataType arithmeticType(DataType a, DataType b)
{
    // The rank of each type after promotion, and the type of each rank.
    static constexpr unsigned char rank[sxu::DataTypeId::Count] = {0, 2, 0, 1, 0};
    static constexpr DataType byRank[] = {sxu::DataTypeId::Int32, sxu::DataTypeId::UInt32, sxu::DataTypeId::Real};
    return byRank[std::max(rank[a], rank[b])];
}

/// Whether a value counts as true: not zero (NaN is true).
inline bool isTrue(double value)
{
    return value != 0.0;
}

namespace elements {

inline double identity(double value)
{
    return value;
}

inline double toBoolean(double value)
{
    return isTrue(value) ? 1.0 : 0.0;
}

// Truncation toward zero, saturated at T's limits; NaN gives 0. Adding +0.0
// turns the -0.0 that truncating (-1, 0) gives into the integer 0.
template <class T>
double realToInteger(double value)
{
    constexpr double low = std::numeric_limits<T>::min();
    constexpr double high = std::numeric_limits<T>::max();
    return std::isnan(value) ? 0.0 : std::trunc(std::fmin(std::fmax(value, low), high)) + 0.0;
}

// An integer value modulo 2^bits of T, as a signed value when T is signed. The
// unsigned conversions are exact; the top bit then says whether to subtract 2^bits.
template <class T>
double integerToInteger(double value)
{
    using Unsigned = std::make_unsigned_t<T>;
    auto const bits = static_cast<Unsigned>(static_cast<std::int64_t>(value));
    if constexpr (std::is_signed_v<T>) {
        constexpr int width = std::numeric_limits<Unsigned>::digits;
        constexpr auto modulus = static_cast<double>(std::uint64_t(1) << width);
        return static_cast<double>(bits) - static_cast<double>(bits >> (width - 1)) * modulus;
    } else {
        return static_cast<double>(bits);
    }
}

// The conversions by the kind of the source (integer, real) and by the target type.
inline constexpr UnaryFn sConversions[2][sxu::DataTypeId::Count] = {
    {&toBoolean, &identity, &integerToInteger<std::int32_t>, &integerToInteger<std::uint32_t>,
     &integerToInteger<std::int8_t>},
    {&toBoolean, &identity, &realToInteger<std::int32_t>, &realToInteger<std::uint32_t>, &realToInteger<std::int8_t>},
};

// The arithmetic of each operation type. int32 computes in uint32, which wraps,
// and converts back by subtracting 2^32 when the top bit is set.
struct RealArithmetic {
    using Word = double;
    static Word in(double value) { return value; }
    static double out(Word word) { return word; }
    static double quotient(double a, double b) { return a / b; }
};

struct Int32Arithmetic {
    using Word = std::uint32_t;
    static Word in(double value) { return static_cast<Word>(static_cast<std::int32_t>(value)); }
    static double out(Word word) { return static_cast<double>(word) - static_cast<double>(word >> 31) * 4294967296.0; }
    // Truncating division; 0 for a zero divisor; -x for a divisor of -1, which wraps INT32_MIN to itself.
    static double quotient(double a, double b)
    {
        auto const x = static_cast<std::int32_t>(a);
        auto const y = static_cast<std::int32_t>(b);
        if (y == 0) {
            return 0.0;
        }
        return y == -1 ? out(-in(a)) : x / y;
    }
};

struct UInt32Arithmetic {
    using Word = std::uint32_t;
    static Word in(double value) { return static_cast<Word>(value); }
    static double out(Word word) { return word; }
    static double quotient(double a, double b) { return b == 0.0 ? 0.0 : static_cast<double>(in(a) / in(b)); }
};

// clang-format off
template <class A> double negate(double a) { return A::out(-A::in(a)); }
template <class A> double add(double a, double b) { return A::out(A::in(a) + A::in(b)); }
template <class A> double subtract(double a, double b) { return A::out(A::in(a) - A::in(b)); }
template <class A> double multiply(double a, double b) { return A::out(A::in(a) * A::in(b)); }
template <class A> double divide(double a, double b) { return A::quotient(a, b); }

// Operands of a relation or logical operation already share one type, so comparing
// the doubles compares the values; NaN compares as IEEE 754 says.
inline double logicalNot(double a) { return isTrue(a) ? 0.0 : 1.0; }
inline double logicalAnd(double a, double b) { return isTrue(a) && isTrue(b) ? 1.0 : 0.0; }
inline double logicalOr(double a, double b) { return isTrue(a) || isTrue(b) ? 1.0 : 0.0; }
inline double less(double a, double b) { return a < b ? 1.0 : 0.0; }
inline double greater(double a, double b) { return a > b ? 1.0 : 0.0; }
inline double lessOrEqual(double a, double b) { return a <= b ? 1.0 : 0.0; }
inline double greaterOrEqual(double a, double b) { return a >= b ? 1.0 : 0.0; }
inline double equal(double a, double b) { return a == b ? 1.0 : 0.0; }
inline double notEqual(double a, double b) { return a != b ? 1.0 : 0.0; }
inline double sign(double x) { return x < 0.0 ? -1.0 : x > 0.0 ? 1.0 : x; }
// clang-format on

/// How an operation is typed and what it computes, by operation type.
struct Operation {
    bool realOperands;  ///< operands convert to real (an elementary function), else to their arithmetic type
    bool booleanResult; ///< gives boolean (a relation or logical operation), else its operation type
    UnaryFn unary[sxu::DataTypeId::Count];
    BinaryFn binary[sxu::DataTypeId::Count];
};

// Each operation's entries by operation type (boolean, real, int32, uint32, char_T).
// clang-format off
#define SXIR_EACH_TYPE(f) {nullptr, &f, &f, &f, nullptr}
#define SXIR_PER_TYPE(f) {nullptr, &f<RealArithmetic>, &f<Int32Arithmetic>, &f<UInt32Arithmetic>, nullptr}
#define SXIR_REAL_ONLY(f) {nullptr, f, nullptr, nullptr, nullptr}
#define SXIR_NATIVE(booleanResult, unary, binary) {false, booleanResult, unary, binary}
#define SXIR_REAL_UNARY(call) {true, false, SXIR_REAL_ONLY([](double x) { return call; }), {}}
#define SXIR_REAL_BINARY(call) {true, false, {}, SXIR_REAL_ONLY([](double x, double y) { return call; })}
// clang-format on

// In OpId order.
inline constexpr Operation sOperations[OpId::Count] = {
    SXIR_NATIVE(true, SXIR_EACH_TYPE(logicalNot), {}),
    SXIR_NATIVE(true, {}, SXIR_EACH_TYPE(logicalAnd)),
    SXIR_NATIVE(true, {}, SXIR_EACH_TYPE(logicalOr)),
    SXIR_NATIVE(false, SXIR_PER_TYPE(negate), {}),
    SXIR_NATIVE(false, {}, SXIR_PER_TYPE(add)),
    SXIR_NATIVE(false, {}, SXIR_PER_TYPE(subtract)),
    SXIR_NATIVE(false, {}, SXIR_PER_TYPE(multiply)),
    SXIR_NATIVE(false, {}, SXIR_PER_TYPE(divide)),
    SXIR_NATIVE(true, {}, SXIR_EACH_TYPE(less)),
    SXIR_NATIVE(true, {}, SXIR_EACH_TYPE(greater)),
    SXIR_NATIVE(true, {}, SXIR_EACH_TYPE(lessOrEqual)),
    SXIR_NATIVE(true, {}, SXIR_EACH_TYPE(greaterOrEqual)),
    SXIR_NATIVE(true, {}, SXIR_EACH_TYPE(equal)),
    SXIR_NATIVE(true, {}, SXIR_EACH_TYPE(notEqual)),
    SXIR_REAL_UNARY(std::sqrt(x)),
    SXIR_REAL_UNARY(std::exp(x)),
    SXIR_REAL_UNARY(std::log(x)),
    SXIR_REAL_UNARY(std::log10(x)),
    SXIR_REAL_UNARY(std::sin(x)),
    SXIR_REAL_UNARY(std::cos(x)),
    SXIR_REAL_UNARY(std::tan(x)),
    SXIR_REAL_UNARY(std::asin(x)),
    SXIR_REAL_UNARY(std::acos(x)),
    SXIR_REAL_UNARY(std::atan(x)),
    SXIR_REAL_UNARY(std::sinh(x)),
    SXIR_REAL_UNARY(std::cosh(x)),
    SXIR_REAL_UNARY(std::tanh(x)),
    SXIR_REAL_UNARY(sign(x)),
    SXIR_REAL_BINARY(std::atan2(x, y)),
    SXIR_REAL_BINARY(std::pow(x, y)),
};

#undef SXIR_EACH_TYPE
#undef SXIR_PER_TYPE
#undef SXIR_REAL_ONLY
#undef SXIR_NATIVE
#undef SXIR_REAL_UNARY
#undef SXIR_REAL_BINARY

} // namespace elements

/// The assignment conversion from `from` to `to`, for resolving once and applying often.
inline UnaryFn conversionFunction(DataType from, DataType to)
{
    return elements::sConversions[from == sxu::DataTypeId::Real][to];
}

/// `value`, of type `from`, converted as an assignment converts it to `to`: to real
/// exactly; to boolean as value != 0; from real to an integer type by truncation,
/// saturated, NaN giving 0; between integer types modulo 2^bits (char_T: 8 bits, signed).
inline double convertElement(double value, DataType from, DataType to)
{
    return conversionFunction(from, to)(value);
}

/// The type the operands of `op` convert to before it applies: real for the elementary
/// functions, otherwise the arithmetic type of the operands (`b` is ignored for unary
/// operations). Converting to it keeps whether a value is true, so logical operations use it too.
inline DataType operationType(OpId::Type op, DataType a, DataType b)
{
    return elements::sOperations[op].realOperands ? sxu::DataTypeId::Real : arithmeticType(a, b);
}

/// The type of the result of `op` on operands of types `a` and `b` (`b` ignored for unary operations).
inline DataType resultType(OpId::Type op, DataType a, DataType b)
{
    return elements::sOperations[op].booleanResult ? sxu::DataTypeId::Boolean : operationType(op, a, b);
}

/// The unary operation `op` on an operand already converted to `type`, the operation type
/// operationType gives; the result is a value of resultType. Null when `op` is not unary.
inline UnaryFn unaryFunction(OpId::Type op, DataType type)
{
    return elements::sOperations[op].unary[type];
}

/// The binary operation `op` on operands already converted to `type`, the operation type
/// operationType gives; the result is a value of resultType. Null when `op` is not binary.
inline BinaryFn binaryFunction(OpId::Type op, DataType type)
{
    return elements::sOperations[op].binary[type];
}

} // namespace detail
} // namespace sxir
