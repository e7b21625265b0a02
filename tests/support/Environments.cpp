#include "tests/support/Environments.hpp"

#include "ir/ThrowingRuntimeEnvironment.hpp"

namespace sxir_test {

void RecordingEnvironment::reportError(char const* id, sxu::string const& arg1, sxu::string const& arg2,
                                       sxu::string const& arg3, sxu::string const& arg4) const
{
    mReports.push_back(Report{id, {arg1, arg2, arg3, arg4}});
}

bool RecordingEnvironment::isValidIdentifier(sxu::string const& name) const
{
    return sxir::ThrowingRuntimeEnvironment::isCIdentifier(name);
}

void ThrowingEnvironment::reportError(char const* id, sxu::string const& arg1, sxu::string const& arg2,
                                      sxu::string const& arg3, sxu::string const& arg4) const
{
    RecordingEnvironment::reportError(id, arg1, arg2, arg3, arg4);
    throw sxir::ReportedError(id, arg1, arg2, arg3, arg4);
}

} // namespace sxir_test
