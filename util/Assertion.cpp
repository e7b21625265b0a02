#include "util/Assertion.hpp"

#include <cstdio>
#include <cstdlib>

void sxu_assertion(char const* message, char const* file, int line)
{
    std::fprintf(stderr, "sxu assertion failed: %s (%s:%d)\n", message, file, line);
    std::fflush(stderr);
    std::abort();
}
