// sxu::string: the text type of the IR, a standard string with no data of its own.
#pragma once

#include <string>

namespace sxu {

class string : public std::string {
public:
    using std::string::string;

    string() = default;
    string(std::string const& other) : std::string(other) {}
    string(std::string&& other) noexcept : std::string(std::move(other)) {}
};

} // namespace sxu
