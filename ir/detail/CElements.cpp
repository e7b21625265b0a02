#include "ir/detail/CElements.hpp"

#include "ir/BuiltinType.hpp"
#include "util/Assertion.hpp"
#include "util/Format.hpp"

#include <array>
#include <cstring>

namespace sxir {
namespace detail {

namespace {

struct Helper {
    char const* name; // with the opening parenthesis, as calls write it
    char const* definition;
};

// Each after the helpers it calls. What C leaves undefined or implementation-defined
// (signed overflow, INT32_MIN / -1, division by zero, out-of-range conversions to a
// signed type or from real) goes through unsigned arithmetic or explicit tests.
constexpr Helper sHelpers[] = {
    {"sxir_u32_to_i32(", "/* uint32 to int32 modulo 2^32. */\n"
                         "static inline int32_T sxir_u32_to_i32(uint32_T u)\n"
                         "{\n"
                         "    return u <= 2147483647u ? (int32_T)u : (int32_T)(u - 2147483648u) - 2147483647 - 1;\n"
                         "}\n"},
    {"sxir_neg_i32(", "/* -a, wrapping: -INT32_MIN is INT32_MIN. */\n"
                      "static inline int32_T sxir_neg_i32(int32_T a)\n"
                      "{\n"
                      "    return sxir_u32_to_i32(0u - (uint32_T)a);\n"
                      "}\n"},
    {"sxir_add_i32(", "/* a + b modulo 2^32. */\n"
                      "static inline int32_T sxir_add_i32(int32_T a, int32_T b)\n"
                      "{\n"
                      "    return sxir_u32_to_i32((uint32_T)a + (uint32_T)b);\n"
                      "}\n"},
    {"sxir_sub_i32(", "/* a - b modulo 2^32. */\n"
                      "static inline int32_T sxir_sub_i32(int32_T a, int32_T b)\n"
                      "{\n"
                      "    return sxir_u32_to_i32((uint32_T)a - (uint32_T)b);\n"
                      "}\n"},
    {"sxir_mul_i32(", "/* a * b modulo 2^32. */\n"
                      "static inline int32_T sxir_mul_i32(int32_T a, int32_T b)\n"
                      "{\n"
                      "    return sxir_u32_to_i32((uint32_T)a * (uint32_T)b);\n"
                      "}\n"},
    {"sxir_div_i32(", "/* a / b truncated; 0 when b is 0; INT32_MIN / -1 wraps to INT32_MIN. */\n"
                      "static inline int32_T sxir_div_i32(int32_T a, int32_T b)\n"
                      "{\n"
                      "    return b == 0 ? 0 : b == -1 ? sxir_neg_i32(a) : a / b;\n"
                      "}\n"},
    {"sxir_div_u32(", "/* a / b truncated; 0 when b is 0. */\n"
                      "static inline uint32_T sxir_div_u32(uint32_T a, uint32_T b)\n"
                      "{\n"
                      "    return b == 0u ? 0u : a / b;\n"
                      "}\n"},
    {"sxir_u32_to_char(", "/* uint32 to a signed 8-bit value modulo 256. */\n"
                          "static inline char_T sxir_u32_to_char(uint32_T u)\n"
                          "{\n"
                          "    return (char_T)((int)(u & 255u) - (int)(u & 128u) * 2);\n"
                          "}\n"},
    {"sxir_real_to_i32(", "/* Truncation toward zero, saturated; NaN gives 0. */\n"
                          "static inline int32_T sxir_real_to_i32(real_T x)\n"
                          "{\n"
                          "    return isnan(x) ? 0\n"
                          "           : x <= -2147483648.0 ? (-2147483647 - 1)\n"
                          "           : x >= 2147483647.0 ? 2147483647\n"
                          "           : (int32_T)x;\n"
                          "}\n"},
    {"sxir_real_to_u32(", "/* Truncation toward zero, saturated; NaN gives 0. */\n"
                          "static inline uint32_T sxir_real_to_u32(real_T x)\n"
                          "{\n"
                          "    return (isnan(x) || x <= 0.0) ? 0u : x >= 4294967295.0 ? 4294967295u : (uint32_T)x;\n"
                          "}\n"},
    {"sxir_real_to_char(", "/* Truncation toward zero, saturated; NaN gives 0. */\n"
                           "static inline char_T sxir_real_to_char(real_T x)\n"
                           "{\n"
                           "    return (char_T)(isnan(x) ? 0 : x <= -128.0 ? -128 : x >= 127.0 ? 127 : (int)x);\n"
                           "}\n"},
    {"sxir_sign(", "/* -1, 1, or x itself for +0, -0 and NaN. */\n"
                   "static inline real_T sxir_sign(real_T x)\n"
                   "{\n"
                   "    return x < 0.0 ? -1.0 : x > 0.0 ? 1.0 : x;\n"
                   "}\n"},
    {"sxir_opaque(", "/* x, unknown to the compiler, so that the math function it is passed to runs\n"
                     "   in the C library instead of being evaluated at compile time. */\n"
                     "static inline real_T sxir_opaque(real_T x)\n"
                     "{\n"
                     "    volatile real_T v = x;\n"
                     "    return v;\n"
                     "}\n"},
    {"sxir_real_from_bits(", "/* The double of a 64-bit pattern: a NaN keeps its bits. */\n"
                             "static inline real_T sxir_real_from_bits(uint64_t bits)\n"
                             "{\n"
                             "    union {\n"
                             "        uint64_t bits;\n"
                             "        real_T value;\n"
                             "    } u;\n"
                             "    u.bits = bits;\n"
                             "    return u.value;\n"
                             "}\n"},
};

constexpr std::size_t sHelperCount = sizeof sHelpers / sizeof sHelpers[0];
static_assert(sHelperCount <= sizeof(CHelperSet) * 8, "one bit per helper");

CHelperSet helpersCalledIn(char const* text)
{
    CHelperSet set = 0;
    for (std::size_t i = 0; i < sHelperCount; ++i) {
        set |= std::strstr(text, sHelpers[i].name) != nullptr ? CHelperSet(1) << i : 0;
    }
    return set;
}

CFragment fragment(char const* text)
{
    return CFragment{text, helpersCalledIn(text)};
}

constexpr auto sCount = sxu::DataTypeId::Count;

// By source type (rows) and target type (columns), in DataTypeId order. Conversions C
// defines exactly are casts; to boolean compares with zero so that 0.5 and NaN are true.
constexpr char const* sConversionTexts[sCount][sCount] = {
    {"$0", "((real_T)$0)", "((int32_T)$0)", "((uint32_T)$0)", "((char_T)$0)"},
    {"((boolean_T)($0 != 0))", "$0", "sxir_real_to_i32($0)", "sxir_real_to_u32($0)", "sxir_real_to_char($0)"},
    {"((boolean_T)($0 != 0))", "((real_T)$0)", "$0", "((uint32_T)$0)", "sxir_u32_to_char((uint32_T)$0)"},
    {"((boolean_T)($0 != 0))", "((real_T)$0)", "sxir_u32_to_i32($0)", "$0", "sxir_u32_to_char($0)"},
    {"((boolean_T)($0 != 0))", "((real_T)$0)", "((int32_T)$0)", "((uint32_T)$0)", "$0"},
};

// Each operation by operation type (boolean, real, int32, uint32, char_T), in OpId order.
// Relations compare same-typed operands, which C does exactly; & and | instead of && and ||
// evaluate both operands, on int operands, since a compiler would suggest && and || for
// truth values whose evaluation may have effects (a call).
// clang-format off
#define SXIR_EACH_TYPE(text) {nullptr, text, text, text, nullptr}
#define SXIR_PER_TYPE(real, int32, uint32) {nullptr, real, int32, uint32, nullptr}
#define SXIR_LIBRARY_UNARY(name) {nullptr, name "(sxir_opaque($0))", nullptr, nullptr, nullptr}
#define SXIR_LIBRARY_BINARY(name) {nullptr, name "(sxir_opaque($0), sxir_opaque($1))", nullptr, nullptr, nullptr}
// clang-format on

constexpr char const* sOperationTexts[OpId::Count][sCount] = {
    SXIR_EACH_TYPE("((boolean_T)($0 == 0))"),
    SXIR_EACH_TYPE("((boolean_T)((int)($0 != 0) & (int)($1 != 0)))"),
    SXIR_EACH_TYPE("((boolean_T)((int)($0 != 0) | (int)($1 != 0)))"),
    SXIR_PER_TYPE("(-$0)", "sxir_neg_i32($0)", "(0u - $0)"),
    SXIR_PER_TYPE("($0 + $1)", "sxir_add_i32($0, $1)", "($0 + $1)"),
    SXIR_PER_TYPE("($0 - $1)", "sxir_sub_i32($0, $1)", "($0 - $1)"),
    SXIR_PER_TYPE("($0 * $1)", "sxir_mul_i32($0, $1)", "($0 * $1)"),
    SXIR_PER_TYPE("($0 / $1)", "sxir_div_i32($0, $1)", "sxir_div_u32($0, $1)"),
    SXIR_EACH_TYPE("((boolean_T)($0 < $1))"),
    SXIR_EACH_TYPE("((boolean_T)($0 > $1))"),
    SXIR_EACH_TYPE("((boolean_T)($0 <= $1))"),
    SXIR_EACH_TYPE("((boolean_T)($0 >= $1))"),
    SXIR_EACH_TYPE("((boolean_T)($0 == $1))"),
    SXIR_EACH_TYPE("((boolean_T)($0 != $1))"),
    SXIR_LIBRARY_UNARY("sqrt"),
    SXIR_LIBRARY_UNARY("exp"),
    SXIR_LIBRARY_UNARY("log"),
    SXIR_LIBRARY_UNARY("log10"),
    SXIR_LIBRARY_UNARY("sin"),
    SXIR_LIBRARY_UNARY("cos"),
    SXIR_LIBRARY_UNARY("tan"),
    SXIR_LIBRARY_UNARY("asin"),
    SXIR_LIBRARY_UNARY("acos"),
    SXIR_LIBRARY_UNARY("atan"),
    SXIR_LIBRARY_UNARY("sinh"),
    SXIR_LIBRARY_UNARY("cosh"),
    SXIR_LIBRARY_UNARY("tanh"),
    {nullptr, "sxir_sign($0)", nullptr, nullptr, nullptr},
    SXIR_LIBRARY_BINARY("atan2"),
    SXIR_LIBRARY_BINARY("pow"),
};

#undef SXIR_EACH_TYPE
#undef SXIR_PER_TYPE
#undef SXIR_LIBRARY_UNARY
#undef SXIR_LIBRARY_BINARY

// A table of fragments made once from a table of texts; a missing text gives an empty fragment.
template <std::size_t Rows>
using FragmentTable = std::array<std::array<CFragment, sCount>, Rows>;

template <std::size_t Rows>
FragmentTable<Rows> makeFragments(char const* const (&texts)[Rows][sCount])
{
    FragmentTable<Rows> table;
    for (std::size_t row = 0; row < Rows; ++row) {
        for (std::size_t column = 0; column < sCount; ++column) {
            table[row][column] = texts[row][column] != nullptr ? fragment(texts[row][column]) : CFragment();
        }
    }
    return table;
}

void appendReal(std::string& out, double value)
{
    char buffer[sxu::sNumberTextCapacity];
    std::size_t const length =
        static_cast<std::size_t>(std::to_chars(buffer, buffer + sizeof buffer, value).ptr - buffer);
    out.append(buffer, length);
    // Shortest digits read back exactly; a point or exponent keeps the constant a double.
    if (std::strpbrk(out.c_str() + out.size() - length, ".e") == nullptr) {
        out += ".0";
    }
}

CFragment realConstant(double value)
{
    if (std::isnan(value)) {
        std::uint64_t bits;
        std::memcpy(&bits, &value, sizeof bits);
        char buffer[sxu::sNumberTextCapacity];
        auto const end = std::to_chars(buffer, buffer + sizeof buffer, bits, 16).ptr;
        return fragment(("sxir_real_from_bits(UINT64_C(0x" + std::string(buffer, end) + "))").c_str());
    }
    if (std::isinf(value)) {
        return fragment(value > 0 ? "HUGE_VAL" : "(-HUGE_VAL)");
    }
    CFragment constant;
    if (std::signbit(value)) {
        constant.text = "(-";
        appendReal(constant.text, -value);
        constant.text += ')';
    } else {
        appendReal(constant.text, value);
    }
    return constant;
}

} // namespace

char const* cTypeName(DataType type)
{
    // The typedefs the emitted header declares are named like the IR's builtin types.
    return BuiltinType::getTypeName(type);
}

CFragment const& cOperation(OpId::Type op, DataType type)
{
    SXU_CHECK(op < OpId::Count, "operation id out of range");
    SXU_CHECK(static_cast<unsigned long>(type) < sCount, "data type id out of range");
    static FragmentTable<OpId::Count> const table = makeFragments(sOperationTexts);
    return table[op][type];
}

CFragment const& cConversion(DataType from, DataType to)
{
    SXU_CHECK(static_cast<unsigned long>(from) < sCount && static_cast<unsigned long>(to) < sCount,
              "data type id out of range");
    static FragmentTable<sCount> const table = makeFragments(sConversionTexts);
    return table[from][to];
}

CFragment cConstant(DataType type, double value)
{
    SXU_CHECK(static_cast<unsigned long>(type) < sCount, "data type id out of range");
    if (type == sxu::DataTypeId::Real) {
        return realConstant(value);
    }
    if (type == sxu::DataTypeId::Int32 && value == -2147483648.0) {
        return CFragment{"(-2147483647 - 1)"}; // 2147483648 alone is no int constant
    }
    // By type: what goes before and after the digits; int32 parenthesizes a minus sign.
    static constexpr char const* affixes[sCount][2] = {
        {"((boolean_T)", ")"}, {"", ""}, {"(", ")"}, {"", "u"}, {"((char_T)", ")"}};
    bool const bare = type == sxu::DataTypeId::Int32 && value >= 0.0;
    CFragment constant;
    constant.text = bare ? "" : affixes[type][0];
    sxu::appendDecimal(constant.text, static_cast<long long>(value));
    constant.text += bare ? "" : affixes[type][1];
    return constant;
}

void cExpand(std::string& out, std::string const& text, std::string_view operand0, std::string_view operand1)
{
    std::size_t start = 0;
    for (std::size_t at = text.find('$'); at != std::string::npos; at = text.find('$', start)) {
        out.append(text, start, at - start);
        out += text[at + 1] == '0' ? operand0 : operand1;
        start = at + 2;
    }
    out.append(text, start, std::string::npos);
}

CHelperSet cHelpersCalledIn(std::string_view text)
{
    CHelperSet set = 0;
    for (std::size_t at = text.find("sxir_"); at != std::string_view::npos; at = text.find("sxir_", at + 5)) {
        char const before = at == 0 ? ' ' : text[at - 1];
        if ((before >= 'a' && before <= 'z') || (before >= 'A' && before <= 'Z') || (before >= '0' && before <= '9') ||
            before == '_') {
            continue;
        }
        for (std::size_t i = 0; i < sHelperCount; ++i) {
            set |= text.substr(at).compare(0, std::strlen(sHelpers[i].name), sHelpers[i].name) == 0
                       ? CHelperSet(1) << i
                       : 0;
        }
    }
    return set;
}

std::string cHelperDefinitions(CHelperSet helpers)
{
    // The table lists callees first, so one pass from the end adds what each member calls.
    static std::array<CHelperSet, sHelperCount> const callees = [] {
        std::array<CHelperSet, sHelperCount> result{};
        for (std::size_t i = 0; i < sHelperCount; ++i) {
            result[i] = helpersCalledIn(sHelpers[i].definition) & ~(CHelperSet(1) << i);
        }
        return result;
    }();
    for (std::size_t i = sHelperCount; i-- > 0;) {
        helpers |= (helpers >> i & 1) != 0 ? callees[i] : 0;
    }
    std::string text;
    for (std::size_t i = 0; i < sHelperCount; ++i) {
        if ((helpers >> i & 1) != 0) {
            text += text.empty() ? "" : "\n";
            text += sHelpers[i].definition;
        }
    }
    return text;
}

} // namespace detail
} // namespace sxir
