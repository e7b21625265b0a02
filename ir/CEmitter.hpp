// sxir::CEmitter and sxir::CCode: a module as a C99 header and source that compute what the interpreter computes.
#pragma once

#include "util/Export.hpp"
#include "util/String.hpp"

namespace sxir {

class Module;

/// The C text of one module.
struct CCode {
    sxu::string header; ///< include guard, the element typedefs, one prototype per function
    sxu::string source; ///< #include "<module name>.h", then the definitions
};

/// Writes a module as C99 (docs/semantics.md, "The C back end"): for each function of the
/// module's own scope with a signature, `void f(inputs..., outputs...)` in the fixed calling
/// convention (README, "Emitting C"). What a function reaches in other modules comes along as
/// static definitions; a statement that every run reaching it stops on (a shape that does not
/// fit, a client node) is a comment. Never fails; stateless.
class SXIR_API CEmitter {
public:
    CCode emit(Module const& module) const;
};

} // namespace sxir
