// Number text exactly as a default-formatted standard output stream writes it, without the stream.
#pragma once

#include <charconv>
#include <string>

namespace sxu {

/// Decimal digits, "-" before negative values: the text of `out << value`.
template <class Integer>
void appendDecimal(std::string& out, Integer value)
{
    char buffer[24];
    auto const result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, result.ptr);
}

/// General notation with 6 significant digits, as `out << value` with default settings.
inline void appendGeneral(std::string& out, double value)
{
    char buffer[32];
    auto const result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 6);
    out.append(buffer, result.ptr);
}

} // namespace sxu
