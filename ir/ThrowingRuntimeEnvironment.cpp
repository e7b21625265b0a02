#include "ir/ThrowingRuntimeEnvironment.hpp"

#include <algorithm>

namespace sxir {

namespace {

std::string describe(char const* id, sxu::string const& arg1, sxu::string const& arg2, sxu::string const& arg3,
                     sxu::string const& arg4)
{
    std::string text = id;
    for (sxu::string const* argument : {&arg1, &arg2, &arg3, &arg4}) {
        if (!argument->empty()) {
            text += ": ";
            text += *argument;
        }
    }
    return text;
}

bool isAsciiLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

} // namespace

ReportedError::ReportedError(char const* id, sxu::string const& arg1, sxu::string const& arg2, sxu::string const& arg3,
                             sxu::string const& arg4)
    : std::runtime_error(describe(id, arg1, arg2, arg3, arg4)), mId(id), mArguments{arg1, arg2, arg3, arg4}
{}

void ThrowingRuntimeEnvironment::reportError(char const* id, sxu::string const& arg1, sxu::string const& arg2,
                                             sxu::string const& arg3, sxu::string const& arg4) const
{
    throw ReportedError(id, arg1, arg2, arg3, arg4);
}

bool ThrowingRuntimeEnvironment::isValidIdentifier(sxu::string const& name) const
{
    return isCIdentifier(name);
}

bool ThrowingRuntimeEnvironment::isCIdentifier(sxu::string const& name)
{
    if (name.empty() || !(isAsciiLetter(name[0]) || name[0] == '_')) {
        return false;
    }
    return std::all_of(name.begin() + 1, name.end(),
                       [](char c) { return isAsciiLetter(c) || (c >= '0' && c <= '9') || c == '_'; });
}

} // namespace sxir
