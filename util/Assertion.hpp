// sxu_assertion: the report of a violated internal invariant, and the checks of the checked build.
#pragma once

#include "util/Export.hpp"

/// Prints the message with the source path and line to stderr and aborts.
[[noreturn]] SXIR_API void sxu_assertion(char const* message, char const* file, int line);

// In a checked build (SXIR_CHECKED) the library verifies the preconditions it
// otherwise leaves to the caller. SXU_SOURCE_PATH is set per library source by
// the build ("ir/Scope" for ir/Scope.cpp), so use SXU_CHECK in sources only.
#if defined(SXIR_CHECKED)
#define SXU_CHECK(condition, message)                                                                                  \
    ((condition) ? static_cast<void>(0) : sxu_assertion((message), SXU_SOURCE_PATH, __LINE__))
#else
#define SXU_CHECK(condition, message) static_cast<void>(0)
#endif
