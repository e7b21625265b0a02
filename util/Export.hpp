// Symbol visibility for the sxir shared library: only the sxir and sxu API is exported.
#pragma once

#if defined(_WIN32)
#if defined(SXIR_BUILDING)
#define SXIR_API __declspec(dllexport)
#else
#define SXIR_API __declspec(dllimport)
#endif
#else
#define SXIR_API __attribute__((visibility("default")))
#endif

// For the library's own hot thread-locals: the initial-exec model makes each access
// a direct one instead of a lookup call.
#if defined(__GNUC__)
#define SXIR_FAST_TLS __attribute__((tls_model("initial-exec")))
#else
#define SXIR_FAST_TLS
#endif

// For the few tiny helpers of the library's innermost loops.
#if defined(__GNUC__)
#define SXIR_ALWAYS_INLINE inline __attribute__((always_inline))
#else
#define SXIR_ALWAYS_INLINE inline
#endif
