// Number text exactly as a default-formatted standard output stream writes it, without the stream.
#pragma once

#include <charconv>
#include <cstddef>
#include <string>

namespace sxu {

/// Room for the text of any number the functions below format.
constexpr std::size_t sNumberTextCapacity = 32;

/// Decimal digits, "-" before negative values: the text of `out << value`. Returns the length.
template <class Integer>
std::size_t formatDecimal(char (&buffer)[sNumberTextCapacity], Integer value)
{
    return static_cast<std::size_t>(std::to_chars(buffer, buffer + sNumberTextCapacity, value).ptr - buffer);
}

/// General notation with 6 significant digits, as `out << value` with default settings. Returns the length.
inline std::size_t formatGeneral(char (&buffer)[sNumberTextCapacity], double value)
{
    auto const result = std::to_chars(buffer, buffer + sNumberTextCapacity, value, std::chars_format::general, 6);
    return static_cast<std::size_t>(result.ptr - buffer);
}

template <class Integer>
void appendDecimal(std::string& out, Integer value)
{
    char buffer[sNumberTextCapacity];
    out.append(buffer, formatDecimal(buffer, value));
}

} // namespace sxu
