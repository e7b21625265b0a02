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

/* function [real_T b] = times_two(real_T a) */
void times_two(real_T a, real_T *b);

/* function [real_T b] = call_times_two(real_T a) */
void call_times_two(real_T a, real_T *b);

#endif

/* C definitions of the functions of module "module", emitted by sxir */
#include "module.h"

/* function [real_T b] = times_two(real_T a) */
void times_two(real_T a, real_T *b)
{
    *b = (a * 2.0);
}

/* function [real_T b] = call_times_two(real_T a) */
void call_times_two(real_T a, real_T *b)
{
    real_T times_two_b;
    times_two(a, &times_two_b);
    *b = times_two_b;
}
