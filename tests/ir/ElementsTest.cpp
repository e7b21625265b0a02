// Element semantics: conversions and operations on their corner cases, the C text of each,
// and a compiled C program that must compute, bit for bit, what the C++ functions compute.
#include "ir/detail/Elements.hpp"
#include "ir/Operator.hpp"
#include "ir/detail/CElements.hpp"
#include "tests/support/CompiledRuns.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>


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

double fromBits(std::uint64_t bits)
{
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
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

TEST(CElementText, ConstantsAreExactAndNeverOverflow)
{
    EXPECT_EQ(cConstant(T::Int32, int32Min).text, "(-2147483647 - 1)");
    EXPECT_EQ(cConstant(T::Int32, -7).text, "(-7)");
    EXPECT_EQ(cConstant(T::Int32, int32Max).text, "2147483647");
    EXPECT_EQ(cConstant(T::UInt32, uint32Max).text, "4294967295u");
    EXPECT_EQ(cConstant(T::Char, -128).text, "((char_T)-128)");
    EXPECT_EQ(cConstant(T::Boolean, 1).text, "((boolean_T)1)");
    EXPECT_EQ(cConstant(T::Real, 1.0).text, "1.0");
    EXPECT_EQ(cConstant(T::Real, 0.1).text, "0.1");
    EXPECT_EQ(cConstant(T::Real, -2.5e-300).text, "(-2.5e-300)");
    EXPECT_EQ(cConstant(T::Real, -0.0).text, "(-0.0)");
    EXPECT_EQ(cConstant(T::Real, -inf).text, "(-HUGE_VAL)");
    EXPECT_EQ(cConstant(T::Real, 1e300).helpers, 0u);
    CFragment const nanConstant = cConstant(T::Real, fromBits(0xfff8000000000abcu));
    EXPECT_EQ(nanConstant.text, "sxir_real_from_bits(UINT64_C(0xfff8000000000abc))");
    EXPECT_NE(cHelperDefinitions(nanConstant.helpers).find("sxir_real_from_bits(uint64_t"), std::string::npos);
}

TEST(CElementText, OperandsFillThePlaceholdersAndHelpersComeWithWhatTheyCall)
{
    std::string text = "y = ";
    cExpand(text, cOperation(OpId::DIVISION, T::Int32).text, "a", "(-2147483647 - 1)");
    EXPECT_EQ(text, "y = sxir_div_i32(a, (-2147483647 - 1))");
    std::string converted;
    cExpand(converted, cConversion(T::Int32, T::Char).text, "x");
    EXPECT_EQ(converted, "sxir_u32_to_char((uint32_T)x)");
    EXPECT_EQ(cConversion(T::Real, T::Real).text, "$0");
    EXPECT_EQ(cConversion(T::Real, T::Real).helpers, 0u);
    EXPECT_EQ(cOperation(OpId::SIN, T::Int32).text, "");
    EXPECT_STREQ(cTypeName(T::Char), "char_T");

    EXPECT_EQ(cHelperDefinitions(0), "");
    EXPECT_EQ(cHelperDefinitions(cOperation(OpId::ADD, T::Real).helpers), "");
    std::string const division = cHelperDefinitions(cOperation(OpId::DIVISION, T::Int32).helpers);
    std::size_t const wrap = division.find("int32_T sxir_u32_to_i32(");
    std::size_t const negate = division.find("int32_T sxir_neg_i32(");
    std::size_t const divide = division.find("int32_T sxir_div_i32(");
    EXPECT_TRUE(wrap < negate && negate < divide) << division;
    EXPECT_EQ(division.find("sxir_add_i32"), std::string::npos);
    EXPECT_EQ(division.find("sxir_div_u32"), std::string::npos);
    // One definition per helper however many fragments ask for it.
    CHelperSet const both =
        cOperation(OpId::DIVISION, T::Int32).helpers | cOperation(OpId::UNARY_MINUS, T::Int32).helpers;
    EXPECT_EQ(cHelperDefinitions(both), division);
}

// ---- The compiled C against the C++ functions ----

// Boundary values of each type, in DataTypeId order.
// clang-format off
std::vector<double> const sGrid[T::Count] = {
    {0, 1},
    {0.0, -0.0, nan, fromBits(0xfff8000000000abcu), inf, -inf, 0.5, -0.5, 1.5, -2.5, 1, -1, 2, 3, -7, 0.1, 4,
     3.141592653589793, 127, 128, -128, -129, 255, 256, int32Max, 2147483648.0, int32Min, -2147483649.0, uint32Max,
     4294967296.0, 1e300, -1e300, 5e-324, 1e-310},
    {0, 1, -1, 2, -2, 3, -7, 127, 128, -128, -129, 255, 256, 46341, 65536, int32Max, int32Min, int32Min + 1},
    {0, 1, 2, 3, 7, 127, 128, 255, 256, 65536, int32Max, 2147483648.0, 4294967294.0, uint32Max},
    {0, 1, -1, 2, -7, 127, -128},
};
// clang-format on
char const* const sArrays[T::Count] = {"vb", "vr", "vi", "vu", "vc"};

T::Type typeOf(unsigned long id)
{
    return static_cast<T::Type>(id);
}

// One C program that prints, one line each, the 64-bit pattern of every result as a
// real: the constants, every conversion and every operation on every pair of operand
// types, over the boundary values; and what the C++ functions say each line must be.
class CProgram {
public:
    CProgram()
    {
        std::string body;
        for (unsigned long t = 0; t < T::Count; ++t) {
            for (std::size_t i = 0; i < sGrid[t].size(); ++i) {
                CFragment const constant = use(cConstant(typeOf(t), sGrid[t][i]));
                body += "    " + element(t, std::to_string(i)) + " = " + constant.text + ";\n";
                body += "    put(" + toReal(t, constant.text) + ");\n";
                expect("constant " + describe(t, sGrid[t][i]), sGrid[t][i], true);
            }
        }
        for (unsigned long from = 0; from < T::Count; ++from) {
            for (unsigned long to = 0; to < T::Count; ++to) {
                body += loop(from, "i") + "put(" +
                        toReal(to, apply(cConversion(typeOf(from), typeOf(to)), element(from, "i"))) + ");\n";
                for (double value : sGrid[from]) {
                    expect("to " + std::string(cTypeName(typeOf(to))) + " " + describe(from, value),
                           convertElement(value, typeOf(from), typeOf(to)));
                }
            }
        }
        for (unsigned op = 0; op < OpId::Count; ++op) {
            addOperation(static_cast<OpId::Type>(op), body);
        }
        mSource = "#include <math.h>\n#include <stdint.h>\n#include <stdio.h>\n#include <string.h>\n\n" + preamble() +
                  cHelperDefinitions(mHelpers) + "\n";
        for (unsigned long t = 0; t < T::Count; ++t) {
            mSource +=
                std::string(cTypeName(typeOf(t))) + " " + sArrays[t] + "[" + std::to_string(sGrid[t].size()) + "];\n";
        }
        mSource += "\nstatic void put(real_T x)\n{\n    uint64_t bits;\n    memcpy(&bits, &x, sizeof bits);\n"
                   "    printf(\"%016llx\\n\", (unsigned long long)bits);\n}\n\nint main(void)\n{\n    int i, j;\n" +
                   body + "    return 0;\n}\n";
    }

    static std::string preamble()
    {
        return "typedef unsigned char boolean_T;\ntypedef double real_T;\ntypedef int32_t int32_T;\n"
               "typedef uint32_t uint32_T;\ntypedef signed char char_T;\n\n";
    }

    std::string const& source() const { return mSource; }

    /// Compares the program's output with the expectations, line by line.
    void check(std::string const& output) const
    {
        std::istringstream in(output);
        std::string line;
        std::size_t count = 0;
        std::size_t failures = 0;
        for (; std::getline(in, line) && count < mExpected.size(); ++count) {
            Expected const& expected = mExpected[count];
            double const actual = fromBits(std::stoull(line, nullptr, 16));
            bool const same =
                expected.exactNaN ? bitsOf(actual) == bitsOf(expected.value) : sameValue(actual, expected.value);
            if (!same && ++failures <= 20) {
                ADD_FAILURE() << expected.label << ": C gives " << line << ", C++ " << std::hex
                              << bitsOf(expected.value);
            }
        }
        EXPECT_EQ(count, mExpected.size()) << "lines of output";
        EXPECT_EQ(failures, 0u) << "results that differ";
    }

private:
    struct Expected {
        std::string label;
        double value;
        bool exactNaN; // constants keep a NaN's bits; operations need not
    };

    CFragment const& use(CFragment const& fragment)
    {
        mHelpers |= fragment.helpers;
        return fragment;
    }
    std::string apply(CFragment const& fragment, std::string const& a, std::string const& b = {})
    {
        std::string text;
        cExpand(text, use(fragment).text, a, b);
        return text;
    }
    std::string toReal(unsigned long type, std::string const& text)
    {
        return apply(cConversion(typeOf(type), T::Real), text);
    }
    static std::string element(unsigned long type, std::string const& index)
    {
        return std::string(sArrays[type]) + "[" + index + "]";
    }
    static std::string loop(unsigned long type, char const* index)
    {
        return std::string("    for (") + index + " = 0; " + index + " < " + std::to_string(sGrid[type].size()) +
               "; ++" + index + ") ";
    }
    static std::string describe(unsigned long type, double value)
    {
        std::ostringstream text;
        text.precision(17);
        text << cTypeName(typeOf(type)) << "(" << value << ")";
        return text.str();
    }
    void expect(std::string label, double value, bool exactNaN = false)
    {
        mExpected.push_back(Expected{std::move(label), value, exactNaN});
    }

    // `op` on every value (unary) or pair of values (binary) of every operand type; unary
    // operations also on constant operands, which the C compiler may evaluate itself.
    void addOperation(OpId::Type op, std::string& body)
    {
        bool const unary = sxir::Operator::getNumOperands(op) == 1;
        std::string const name = sxir::Operator::getSymbol(op);
        for (unsigned long a = 0; a < T::Count; ++a) {
            for (unsigned long b = 0; b < (unary ? 1 : T::Count); ++b) {
                T::Type const type = operationType(op, typeOf(a), typeOf(b));
                auto const result = resultType(op, typeOf(a), typeOf(b));
                CFragment const& operation = cOperation(op, type);
                std::string const x = apply(cConversion(typeOf(a), type), element(a, "i"));
                std::string const y = unary ? "" : apply(cConversion(typeOf(b), type), element(b, "j"));
                body += loop(a, "i") + (unary ? "" : loop(b, "j")) + "put(" + toReal(result, apply(operation, x, y)) +
                        ");\n";
                for (double va : sGrid[a]) {
                    double const ca = convertElement(va, typeOf(a), type);
                    if (unary) {
                        expect(name + " " + describe(a, va), unaryFunction(op, type)(ca));
                        continue;
                    }
                    for (double vb : sGrid[b]) {
                        expect(name + " " + describe(a, va) + " " + describe(b, vb),
                               binaryFunction(op, type)(ca, convertElement(vb, typeOf(b), type)));
                    }
                }
                if (!unary) {
                    continue;
                }
                for (double va : sGrid[a]) {
                    std::string const constant = use(cConstant(typeOf(a), va)).text;
                    body += "    put(" +
                            toReal(result, apply(operation, apply(cConversion(typeOf(a), type), constant))) + ");\n";
                    expect(name + " constant " + describe(a, va),
                           unaryFunction(op, type)(convertElement(va, typeOf(a), type)));
                }
            }
        }
    }

    std::string mSource;
    std::vector<Expected> mExpected;
    CHelperSet mHelpers = 0;
};

CProgram const& program()
{
    static CProgram const instance;
    return instance;
}

using sxir_test::onPath;
using sxir_test::readFile;
using sxir_test::shell;
using sxir_test::sStrictC;

// A scratch directory, and the system C compiler ($CC, or cc).
class CompiledElements : public ::testing::Test {
protected:
    std::string path(std::string const& name) const { return (directory.path() / name).string(); }

    /// Compiles the program with `compilerCommand` and `flags`, runs it and checks its output.
    void compileRunAndCheck(std::string const& compilerCommand, std::string const& flags)
    {
        std::ofstream(path("elements.c")) << program().source();
        std::string const command = compilerCommand + sStrictC + " " + flags + " " + path("elements.c") + " -o " +
                                    path("elements") + " -lm 2>" + path("compile.log");
        ASSERT_EQ(shell(command), 0) << command << "\n" << readFile(path("compile.log"));
        ASSERT_EQ(shell(path("elements") + " >" + path("out.txt") + " 2>" + path("run.log")), 0)
            << readFile(path("run.log"));
        program().check(readFile(path("out.txt")));
    }

    std::string const compiler = sxir_test::findCCompiler();
    sxir_test::ScratchDirectory directory;
};

TEST_F(CompiledElements, OptimizedCComputesWhatTheElementFunctionsCompute)
{
    if (compiler.empty()) {
        GTEST_SKIP() << "no C compiler: neither $CC nor cc is on the path";
    }
    compileRunAndCheck(compiler, "-O2");
}

TEST_F(CompiledElements, UndefinedBehaviourSanitizerStaysSilent)
{
    std::string const flags = "-O1 -fsanitize=undefined,float-cast-overflow -fno-sanitize-recover=all";
    if (compiler.empty()) {
        GTEST_SKIP() << "no C compiler: neither $CC nor cc is on the path";
    }
    if (!sxir_test::compilerAccepts(compiler, flags)) {
        GTEST_SKIP() << compiler << " does not build with " << flags;
    }
    compileRunAndCheck(compiler, flags);
}

TEST_F(CompiledElements, ClangAcceptsTheTextAndComputesTheSame)
{
    if (!onPath("clang")) {
        GTEST_SKIP() << "clang is not installed";
    }
    compileRunAndCheck("clang", "-O2");
}

TEST_F(CompiledElements, EachHelperCompilesWithOnlyWhatItsSetBrings)
{
    if (compiler.empty()) {
        GTEST_SKIP() << "no C compiler: neither $CC nor cc is on the path";
    }
    std::string files;
    for (unsigned bit = 0; bit < 32; ++bit) {
        std::string const definitions = cHelperDefinitions(CHelperSet(1) << bit);
        if (!definitions.empty()) {
            std::string const name = path("helper" + std::to_string(bit) + ".c");
            std::ofstream(name) << "#include <math.h>\n#include <stdint.h>\n" << CProgram::preamble() << definitions;
            files += " " + name;
        }
    }
    ASSERT_FALSE(files.empty());
    std::string const command = compiler + sStrictC + " -fsyntax-only" + files + " 2>" + path("compile.log");
    EXPECT_EQ(shell(command), 0) << readFile(path("compile.log"));
}

} // namespace
