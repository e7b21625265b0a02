// Element semantics: conversions and operations on their corner cases.
#include "ir/detail/Elements.hpp"
#include "ir/Operator.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

namespace {

using namespace sxir::detail;
using sxir::OpId;
using T = sxu::DataTypeId;

double const nan = std::numeric_limits<double>::quiet_NaN();
double const inf = std::numeric_limits<double>::infinity();
double const int32Min = -2147483648.0;
double const int32Max = 2147483647.0;
double const uint32Max = 4294967295.0;

std::uint64_t bitsOf(double value)
{
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

// The same bits, where every NaN matches every NaN (as values compare).
bool sameValue(double a, double b)
{
    return bitsOf(a) == bitsOf(b) || (std::isnan(a) && std::isnan(b));
}

#define EXPECT_VALUE(actual, expected)                                                                                 \
    EXPECT_PRED2(sameValue, actual, expected) << std::hex << bitsOf(actual) << " vs " << bitsOf(expected)

// What an interpreter does for `op` on operands of types a and b: convert both to the
// operation type, then apply.
double evaluate(OpId::Type op, T::Type a, double x, T::Type b = T::Boolean, double y = 0.0)
{
    T::Type const type = operationType(op, a, b);
    double const cx = convertElement(x, a, type);
    if (sxir::Operator::getNumOperands(op) == 1) {
        return unaryFunction(op, type)(cx);
    }
    return binaryFunction(op, type)(cx, convertElement(y, b, type));
}

TEST(ElementConversion, RealTruncatesTowardZeroSaturatesAndSendsNaNToZero)
{
    struct Row {
        double value, boolean, int32, uint32, character;
    };
    Row const rows[] = {
        {0.0, 0, 0, 0, 0},
        {-0.0, 0, 0, 0, 0},
        {nan, 1, 0, 0, 0},
        {inf, 1, int32Max, uint32Max, 127},
        {-inf, 1, int32Min, 0, -128},
        {0.5, 1, 0, 0, 0},
        {-0.5, 1, 0, 0, 0},
        {-2.7, 1, -2, 0, -2},
        {int32Max, 1, int32Max, int32Max, 127},
        {2147483648.0, 1, int32Max, 2147483648.0, 127},
        {int32Min, 1, int32Min, 0, -128},
        {-2147483649.0, 1, int32Min, 0, -128},
        {uint32Max, 1, int32Max, uint32Max, 127},
        {4294967296.0, 1, int32Max, uint32Max, 127},
        {127, 1, 127, 127, 127},
        {128, 1, 128, 128, 127},
        {-128, 1, -128, 0, -128},
        {-129, 1, -129, 0, -128},
        {255, 1, 255, 255, 127},
        {256, 1, 256, 256, 127},
        {1e300, 1, int32Max, uint32Max, 127},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.value);
        // Integers are never -0.0: equal integers have equal bits.
        EXPECT_VALUE(convertElement(row.value, T::Real, T::Boolean), row.boolean);
        EXPECT_VALUE(convertElement(row.value, T::Real, T::Int32), row.int32);
        EXPECT_VALUE(convertElement(row.value, T::Real, T::UInt32), row.uint32);
        EXPECT_VALUE(convertElement(row.value, T::Real, T::Char), row.character);
        EXPECT_EQ(bitsOf(convertElement(row.value, T::Real, T::Real)), bitsOf(row.value));
    }
}

TEST(ElementConversion, IntegersWrapModuloTheTargetWidthAndTheSourceTypeDecides)
{
    struct Row {
        T::Type from;
        double value, boolean, int32, uint32, character;
    };
    Row const rows[] = {
        {T::Boolean, 1, 1, 1, 1, 1},
        {T::Int32, 0, 0, 0, 0, 0},
        {T::Int32, -1, 1, -1, uint32Max, -1},
        {T::Int32, 127, 1, 127, 127, 127},
        {T::Int32, 128, 1, 128, 128, -128},
        {T::Int32, -128, 1, -128, 4294967168.0, -128},
        {T::Int32, -129, 1, -129, 4294967167.0, 127},
        {T::Int32, 255, 1, 255, 255, -1},
        {T::Int32, 256, 1, 256, 256, 0},
        {T::Int32, int32Max, 1, int32Max, int32Max, -1},
        {T::Int32, int32Min, 1, int32Min, 2147483648.0, 0},
        {T::UInt32, 2147483648.0, 1, int32Min, 2147483648.0, 0},
        {T::UInt32, 3000000000.0, 1, -1294967296.0, 3000000000.0, 0},
        {T::UInt32, uint32Max, 1, -1, uint32Max, -1},
        {T::UInt32, 384, 1, 384, 384, -128},
        {T::Char, -1, 1, -1, uint32Max, -1},
        {T::Char, -128, 1, -128, 4294967168.0, -128},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(std::to_string(row.from) + " " + std::to_string(row.value));
        EXPECT_VALUE(convertElement(row.value, row.from, T::Boolean), row.boolean);
        EXPECT_VALUE(convertElement(row.value, row.from, T::Real), row.value);
        EXPECT_VALUE(convertElement(row.value, row.from, T::Int32), row.int32);
        EXPECT_VALUE(convertElement(row.value, row.from, T::UInt32), row.uint32);
        EXPECT_VALUE(convertElement(row.value, row.from, T::Char), row.character);
    }
    // The same number saturates from real and wraps from uint32.
    EXPECT_EQ(convertElement(3e9, T::Real, T::Int32), int32Max);
    EXPECT_EQ(convertElement(3e9, T::UInt32, T::Int32), -1294967296.0);
}

TEST(ElementTyping, OperandsFollowTheUsualArithmeticConversionsAndFunctionsWorkInReal)
{
    EXPECT_EQ(arithmeticType(T::Boolean, T::Char), T::Int32);
    EXPECT_EQ(arithmeticType(T::Char, T::UInt32), T::UInt32);
    EXPECT_EQ(arithmeticType(T::UInt32, T::Int32), T::UInt32);
    EXPECT_EQ(arithmeticType(T::Int32, T::Real), T::Real);
    EXPECT_EQ(arithmeticType(T::Real, T::Boolean), T::Real);

    EXPECT_EQ(operationType(OpId::ADD, T::Char, T::Char), T::Int32);
    EXPECT_EQ(resultType(OpId::ADD, T::Char, T::Char), T::Int32);
    EXPECT_EQ(operationType(OpId::LESS, T::Int32, T::UInt32), T::UInt32);
    EXPECT_EQ(resultType(OpId::LESS, T::Int32, T::UInt32), T::Boolean);
    EXPECT_EQ(resultType(OpId::LOGICAL_OR, T::Real, T::Char), T::Boolean);
    EXPECT_EQ(operationType(OpId::UNARY_MINUS, T::Boolean, T::Boolean), T::Int32);
    EXPECT_EQ(resultType(OpId::LOGICAL_NOT, T::Real, T::Real), T::Boolean);
    EXPECT_EQ(operationType(OpId::SIN, T::Int32, T::Int32), T::Real);
    EXPECT_EQ(resultType(OpId::POW, T::Char, T::UInt32), T::Real);
    EXPECT_EQ(resultType(OpId::SIGN, T::Int32, T::Int32), T::Real);
    EXPECT_EQ(binaryFunction(OpId::SIN, T::Real), nullptr);
    EXPECT_EQ(unaryFunction(OpId::ADD, T::Int32), nullptr);
}

TEST(ElementArithmetic, IntegersWrapAndDivisionHasAnAnswerForEveryDivisor)
{
    EXPECT_VALUE(evaluate(OpId::ADD, T::Int32, int32Max, T::Int32, 1), int32Min);
    EXPECT_VALUE(evaluate(OpId::MINUS, T::Int32, int32Min, T::Int32, 1), int32Max);
    EXPECT_VALUE(evaluate(OpId::MULTIPLY, T::Int32, 46341, T::Int32, 46341), -2147479015.0);
    EXPECT_VALUE(evaluate(OpId::MULTIPLY, T::Int32, 65536, T::Int32, -65536), 0.0);
    EXPECT_VALUE(evaluate(OpId::UNARY_MINUS, T::Int32, int32Min), int32Min);
    EXPECT_VALUE(evaluate(OpId::UNARY_MINUS, T::Int32, 0), 0.0); // not -0.0
    EXPECT_VALUE(evaluate(OpId::UNARY_MINUS, T::Char, -128), 128.0);
    EXPECT_VALUE(evaluate(OpId::DIVISION, T::Int32, 7, T::Int32, 0), 0.0);
    EXPECT_VALUE(evaluate(OpId::DIVISION, T::Int32, int32Min, T::Int32, -1), int32Min);
    EXPECT_VALUE(evaluate(OpId::DIVISION, T::Int32, -7, T::Int32, 2), -3.0);
    EXPECT_VALUE(evaluate(OpId::DIVISION, T::Int32, 7, T::Int32, -2), -3.0);
    EXPECT_VALUE(evaluate(OpId::DIVISION, T::Int32, -1, T::Int32, 2), 0.0);
    EXPECT_VALUE(evaluate(OpId::DIVISION, T::Char, -128, T::Boolean, 1), -128.0);

    EXPECT_VALUE(evaluate(OpId::ADD, T::UInt32, uint32Max, T::UInt32, 1), 0.0);
    EXPECT_VALUE(evaluate(OpId::MINUS, T::UInt32, 0, T::UInt32, 1), uint32Max);
    EXPECT_VALUE(evaluate(OpId::MULTIPLY, T::UInt32, uint32Max, T::UInt32, uint32Max), 1.0);
    EXPECT_VALUE(evaluate(OpId::UNARY_MINUS, T::UInt32, 1), uint32Max);
    EXPECT_VALUE(evaluate(OpId::UNARY_MINUS, T::UInt32, 0), 0.0);
    EXPECT_VALUE(evaluate(OpId::DIVISION, T::UInt32, 5, T::UInt32, 0), 0.0);
    EXPECT_VALUE(evaluate(OpId::DIVISION, T::UInt32, uint32Max, T::UInt32, 2), 2147483647.0);
    // int32 -1 is uint32 2^32-1 beside a uint32.
    EXPECT_VALUE(evaluate(OpId::DIVISION, T::Int32, -1, T::UInt32, 2), 2147483647.0);
    EXPECT_VALUE(evaluate(OpId::ADD, T::Char, -1, T::UInt32, 0), uint32Max);

    EXPECT_VALUE(evaluate(OpId::UNARY_MINUS, T::Real, 0.0), -0.0);
    EXPECT_VALUE(evaluate(OpId::DIVISION, T::Real, -1, T::Real, 0), -inf);
    EXPECT_VALUE(evaluate(OpId::DIVISION, T::Real, 0, T::Real, 0), nan);
    EXPECT_VALUE(evaluate(OpId::DIVISION, T::Int32, 7, T::Real, 2), 3.5);
    EXPECT_VALUE(evaluate(OpId::ADD, T::Real, 1e308, T::Real, 1e308), inf);
}

TEST(ElementArithmetic, RelationsCompareAfterConversionAndNaNIsUnorderedButTrue)
{
    EXPECT_VALUE(evaluate(OpId::LESS, T::Int32, -1, T::UInt32, 0), 0.0);
    EXPECT_VALUE(evaluate(OpId::GREATER, T::Char, -1, T::UInt32, 0), 1.0);
    EXPECT_VALUE(evaluate(OpId::EQUAL, T::Int32, -1, T::UInt32, uint32Max), 1.0);
    EXPECT_VALUE(evaluate(OpId::LESS, T::Int32, -1, T::Real, 0), 1.0);
    EXPECT_VALUE(evaluate(OpId::EQUAL, T::Real, -0.0, T::Real, 0.0), 1.0);

    OpId::Type const relations[] = {OpId::LESS,  OpId::GREATER,  OpId::LESS_OR_EQUAL, OpId::GREATER_OR_EQUAL,
                                    OpId::EQUAL, OpId::NOT_EQUAL};
    for (OpId::Type op : relations) {
        double const expected = op == OpId::NOT_EQUAL ? 1.0 : 0.0;
        EXPECT_VALUE(evaluate(op, T::Real, nan, T::Real, 1.0), expected) << op;
        EXPECT_VALUE(evaluate(op, T::Int32, 0, T::Real, nan), expected) << op;
        EXPECT_VALUE(evaluate(op, T::Real, nan, T::Real, nan), expected) << op;
    }

    EXPECT_TRUE(isTrue(nan));
    EXPECT_FALSE(isTrue(-0.0));
    EXPECT_VALUE(evaluate(OpId::LOGICAL_NOT, T::Real, nan), 0.0);
    EXPECT_VALUE(evaluate(OpId::LOGICAL_NOT, T::Real, -0.0), 1.0);
    EXPECT_VALUE(evaluate(OpId::LOGICAL_AND, T::Real, nan, T::Real, nan), 1.0);
    EXPECT_VALUE(evaluate(OpId::LOGICAL_AND, T::Real, nan, T::Int32, 0), 0.0);
    EXPECT_VALUE(evaluate(OpId::LOGICAL_AND, T::Real, 0.5, T::Char, -1), 1.0);
    EXPECT_VALUE(evaluate(OpId::LOGICAL_OR, T::Real, nan, T::Int32, 0), 1.0);
    EXPECT_VALUE(evaluate(OpId::LOGICAL_OR, T::Real, -0.0, T::UInt32, 0), 0.0);
    EXPECT_VALUE(evaluate(OpId::LOGICAL_OR, T::Int32, int32Min, T::UInt32, 0), 1.0);
}

TEST(ElementArithmetic, FunctionsTakeRealOperandsInOrderAndSignKeepsZerosAndNaN)
{
    EXPECT_VALUE(evaluate(OpId::SQRT, T::Int32, 4), 2.0);
    EXPECT_VALUE(evaluate(OpId::POW, T::Int32, 2, T::Char, 10), 1024.0);
    EXPECT_VALUE(evaluate(OpId::POW, T::UInt32, 0, T::Int32, -1), inf);
    EXPECT_VALUE(evaluate(OpId::ATAN2, T::Real, 1, T::Real, 0), std::acos(0.0));
    EXPECT_VALUE(evaluate(OpId::LOG, T::Boolean, 0), -inf);
    EXPECT_VALUE(evaluate(OpId::SIGN, T::Real, 0.0), 0.0);
    EXPECT_VALUE(evaluate(OpId::SIGN, T::Real, -0.0), -0.0);
    EXPECT_VALUE(evaluate(OpId::SIGN, T::Real, nan), nan);
    EXPECT_VALUE(evaluate(OpId::SIGN, T::Real, -1e-310), -1.0);
    EXPECT_VALUE(evaluate(OpId::SIGN, T::Real, inf), 1.0);
    EXPECT_VALUE(evaluate(OpId::SIGN, T::UInt32, uint32Max), 1.0);
}

} // namespace
