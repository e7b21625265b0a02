#include "ir/detail/CNames.hpp"

#include <algorithm>
#include <string>
#include <vector>

namespace sxir {
namespace detail {

namespace {

// Keywords of C99 to C23; the headers' names that a program of its own may not use, with the
// POSIX and GNU additions <math.h> declares outside the strict ISO modes; the element typedefs.
// The underscore names, "_t" names and the integer limit macros follow from the rules below.
constexpr char const* sReservedWords[] = {
    "alignas", "alignof", "auto", "bool", "break", "case", "char", "const", "constexpr", "continue", "default", "do",
    "double", "else", "enum", "extern", "false", "float", "for", "goto", "if", "inline", "int", "long", "nullptr",
    "register", "restrict", "return", "short", "signed", "sizeof", "static", "static_assert", "struct", "switch",
    "thread_local", "true", "typedef", "typeof", "typeof_unqual", "union", "unsigned", "void", "volatile", "while",
    // <math.h> macros and types.
    "fpclassify", "isfinite", "isinf", "isnan", "isnormal", "signbit", "isgreater", "isgreaterequal", "isless",
    "islessequal", "islessgreater", "isunordered", "HUGE_VAL", "HUGE_VALF", "HUGE_VALL", "INFINITY", "NAN",
    "FP_INFINITE", "FP_NAN", "FP_NORMAL", "FP_SUBNORMAL", "FP_ZERO", "FP_FAST_FMA", "FP_FAST_FMAF", "FP_FAST_FMAL",
    "FP_ILOGB0", "FP_ILOGBNAN", "MATH_ERRNO", "MATH_ERREXCEPT", "math_errhandling", "M_E", "M_LOG2E", "M_LOG10E",
    "M_LN2", "M_LN10", "M_PI", "M_PI_2", "M_PI_4", "M_1_PI", "M_2_PI", "M_2_SQRTPI", "M_SQRT2", "M_SQRT1_2",
    "signgam",
    // <string.h> and <stdint.h> names that the rules below do not cover.
    "memchr", "memcmp", "memcpy", "memmove", "memset", "strcat", "strchr", "strcmp", "strcoll", "strcpy", "strcspn",
    "strerror", "strlen", "strncat", "strncmp", "strncpy", "strpbrk", "strrchr", "strspn", "strstr", "strtok",
    "strxfrm", "strdup", "strndup", "strnlen", "stpcpy", "stpncpy", "NULL", "PTRDIFF_MIN", "PTRDIFF_MAX",
    "SIG_ATOMIC_MIN", "SIG_ATOMIC_MAX", "SIZE_MAX", "WCHAR_MIN", "WCHAR_MAX", "WINT_MIN", "WINT_MAX",
    // What the emitted code itself declares.
    "boolean_T", "real_T", "int32_T", "uint32_T", "char_T", "main",
};

// The <math.h> functions; each is reserved with the suffixes "f" and "l" as well.
constexpr char const* sMathFunctions[] = {
    "acos", "asin", "atan", "atan2", "cos", "sin", "tan", "acosh", "asinh", "atanh", "cosh", "sinh", "tanh", "exp",
    "exp2", "expm1", "frexp", "ilogb", "ldexp", "log", "log10", "log1p", "log2", "logb", "modf", "scalbn", "scalbln",
    "cbrt", "fabs", "hypot", "pow", "sqrt", "erf", "erfc", "lgamma", "tgamma", "ceil", "floor", "nearbyint", "rint",
    "lrint", "llrint", "round", "lround", "llround", "trunc", "fmod", "remainder", "remquo", "copysign", "nan",
    "nextafter", "nexttoward", "fdim", "fmax", "fmin", "fma", "j0", "j1", "jn", "y0", "y1", "yn", "gamma", "drem",
    "finite", "significand", "scalb", "exp10", "pow10", "sincos", "lgamma_r", "gamma_r",
};

bool startsWith(std::string_view name, std::string_view prefix)
{
    return name.substr(0, prefix.size()) == prefix;
}

bool endsWith(std::string_view name, std::string_view suffix)
{
    return name.size() >= suffix.size() && name.substr(name.size() - suffix.size()) == suffix;
}

/// INT8_MIN, UINT64_C, INT_LEAST16_MAX, INTMAX_C, ...: the integer macros of <stdint.h>.
bool isIntegerMacro(std::string_view name)
{
    bool const integer = startsWith(name, "INT") || startsWith(name, "UINT");
    bool const macro = endsWith(name, "_MIN") || endsWith(name, "_MAX") || endsWith(name, "_C");
    return integer && macro;
}

/// The reserved words, and each <math.h> function bare and with "f" and "l", sorted: built once,
/// since every name of every emitted function is looked up in it.
std::vector<std::string> const& reservedNames()
{
    static std::vector<std::string> const names = [] {
        std::vector<std::string> all(std::begin(sReservedWords), std::end(sReservedWords));
        for (char const* function : sMathFunctions) {
            for (char const* suffix : {"", "f", "l"}) {
                all.push_back(std::string(function) + suffix);
            }
        }
        std::sort(all.begin(), all.end());
        return all;
    }();
    return names;
}

bool isIdentifierCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool isIdentifier(std::string_view name)
{
    return !name.empty() && !(name[0] >= '0' && name[0] <= '9') &&
           std::all_of(name.begin(), name.end(), isIdentifierCharacter);
}

} // namespace

bool isReservedInC(std::string_view name)
{
    if (startsWith(name, "_") || startsWith(name, "sxir_") || startsWith(name, "SXIR_") || endsWith(name, "_t") ||
        isIntegerMacro(name)) {
        return true;
    }
    std::vector<std::string> const& names = reservedNames();
    return std::binary_search(names.begin(), names.end(), name);
}

std::string cIdentifier(std::string_view name)
{
    std::string identifier;
    bool const letter = !name.empty() && ((name[0] >= 'a' && name[0] <= 'z') || (name[0] >= 'A' && name[0] <= 'Z'));
    if (!letter) {
        identifier = "n";
    }
    for (char c : name) {
        identifier += isIdentifierCharacter(c) ? c : '_';
    }
    return identifier;
}

bool CNameTable::isFree(std::string const& name, CNameTable const* alsoAvoid) const
{
    return isIdentifier(name) && !isReservedInC(name) && !taken(name) &&
           (alsoAvoid == nullptr || !alsoAvoid->taken(name));
}

std::string CNameTable::claim(std::string_view wanted, CNameTable const* alsoAvoid)
{
    std::string base = cIdentifier(wanted);
    // A reserved prefix stays reserved whatever follows: such a name gets a letter in front.
    if (isReservedInC(base + "_1")) {
        base = "n" + base;
    }
    std::string name = base;
    for (unsigned long suffix = 1; !isFree(name, alsoAvoid); ++suffix) {
        name = base + "_" + std::to_string(suffix);
    }
    take(name);
    return name;
}

std::string CNameTable::claimNumbered(std::string_view stem, unsigned long& next)
{
    std::string name;
    do {
        name = std::string(stem) + std::to_string(next++);
    } while (!isFree(name));
    take(name);
    return name;
}

} // namespace detail
} // namespace sxir
