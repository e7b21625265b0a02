// sxir::RuntimeEnvironment: the client's error reporter and identifier rule.
#pragma once

#include "util/Allocate.hpp"
#include "util/Export.hpp"
#include "util/String.hpp"

namespace sxir {

/// Supplied by the client; must outlive every context created over it.
class SXIR_API RuntimeEnvironment : public sxu::AllocatorBase {
public:
    virtual ~RuntimeEnvironment();

    /// Receives every user error; expected to throw or stop. If it returns, the
    /// reporting operation carries on.
    virtual void reportError(char const* id, sxu::string const& arg1, sxu::string const& arg2, sxu::string const& arg3,
                             sxu::string const& arg4) const = 0;
    virtual bool isValidIdentifier(sxu::string const& name) const = 0;
};

} // namespace sxir
