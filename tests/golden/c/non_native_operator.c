/* C declarations of the functions of module "module", emitted by sxir */
#ifndef SXIR_module_H
#define SXIR_module_H

#include <math.h>
#include <stdint.h>

#if defined(__clang__)
/* Each operation rounds on its own: no fused multiply-add. */
#pragma STDC FP_CONTRACT OFF
#endif

#ifndef SXIR_TYPES_DEFINED
#define SXIR_TYPES_DEFINED
typedef unsigned char boolean_T;
typedef double real_T;
typedef int32_t int32_T;
typedef uint32_t uint32_T;
typedef signed char char_T;
#endif

/* function [real_T b] = f(real_T a) */
void f(real_T a, real_T *b);

#endif

/* C definitions of the functions of module "module", emitted by sxir */
#include "module.h"

/* x, unknown to the compiler, so that the math function it is passed to runs
   in the C library instead of being evaluated at compile time. */
static inline real_T sxir_opaque(real_T x)
{
    volatile real_T v = x;
    return v;
}

/* function [real_T b] = f(real_T a) */
void f(real_T a, real_T *b)
{
    *b = ((sin(sxir_opaque(a)) * cos(sxir_opaque(a))) + 4.0);
}
