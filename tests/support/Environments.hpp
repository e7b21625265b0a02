// Runtime environments for tests: one that records reports and returns, one that also throws.
#pragma once

#include "ir/Context.hpp"
#include "ir/RuntimeEnvironment.hpp"

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace sxir_test {

struct Report {
    std::string id;
    std::array<std::string, 4> arguments;
};

/// Records every report and returns; accepts C identifiers.
class RecordingEnvironment : public sxir::RuntimeEnvironment {
public:
    void reportError(char const* id, sxu::string const& arg1, sxu::string const& arg2, sxu::string const& arg3,
                     sxu::string const& arg4) const override;
    bool isValidIdentifier(sxu::string const& name) const override;

    std::vector<Report> const& reports() const { return mReports; }
    void clearReports() { mReports.clear(); }

private:
    mutable std::vector<Report> mReports;
};

/// Records every report, then throws it as a sxir::ReportedError.
class ThrowingEnvironment : public RecordingEnvironment {
public:
    void reportError(char const* id, sxu::string const& arg1, sxu::string const& arg2, sxu::string const& arg3,
                     sxu::string const& arg4) const override;
};

using ContextPtr = std::unique_ptr<sxir::Context>;

inline ContextPtr makeContext(sxir::RuntimeEnvironment const& env)
{
    return ContextPtr(sxir::Context::create(env));
}

} // namespace sxir_test
