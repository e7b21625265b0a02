// Symbol visibility for the sxir shared library: only the sxir and sxu API is exported.
#pragma once

#if defined(_WIN32)
#  if defined(SXIR_BUILDING)
#    define SXIR_API __declspec(dllexport)
#  else
#    define SXIR_API __declspec(dllimport)
#  endif
#else
#  define SXIR_API __attribute__((visibility("default")))
#endif
