// sxir::ThrowingRuntimeEnvironment: a ready-made environment that throws sxir::ReportedError.
#pragma once

#include "ir/RuntimeEnvironment.hpp"

#include <array>
#include <stdexcept>

namespace sxir {

/// A user error as reported through a context: its identifier and four arguments.
class SXIR_API ReportedError : public std::runtime_error {
public:
    ReportedError(char const* id, sxu::string const& arg1, sxu::string const& arg2, sxu::string const& arg3,
                  sxu::string const& arg4);

    sxu::string const& getId() const { return mId; }
    /// Argument 1 to 4, as passed to reportError.
    sxu::string const& getArgument(unsigned long position) const { return mArguments.at(position - 1); }

private:
    sxu::string mId;
    std::array<sxu::string, 4> mArguments;
};

/// Accepts C identifiers and throws every report as a ReportedError.
class SXIR_API ThrowingRuntimeEnvironment : public RuntimeEnvironment {
public:
    void reportError(char const* id, sxu::string const& arg1, sxu::string const& arg2, sxu::string const& arg3,
                     sxu::string const& arg4) const override;
    bool isValidIdentifier(sxu::string const& name) const override;

    /// A letter or underscore, then letters, digits and underscores.
    static bool isCIdentifier(sxu::string const& name);
};

} // namespace sxir
