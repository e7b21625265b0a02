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

/* function [real_T b] = actual_function(real_T a[6x1], int32_T i1, int32_T i2, int32_T i3) */
void actual_function(const real_T a[6], int32_T i1, int32_T i2, int32_T i3, real_T *b);

/* function [real_T b] = f(real_T a[6x1], int32_T i1, int32_T i2, int32_T i3) */
void f(const real_T a[6], int32_T i1, int32_T i2, int32_T i3, real_T *b);

#endif

/* C definitions of the functions of module "module", emitted by sxir */
#include "module.h"

/* function [real_T b] = actual_function(real_T a[6x1], int32_T i1, int32_T i2, int32_T i3) */
void actual_function(const real_T a[6], int32_T i1, int32_T i2, int32_T i3, real_T *b)
{
    real_T c[3] = {0};
    c[0] = a[i1];
    c[1] = a[i2];
    c[2] = a[i3];
    *b = ((c[0] + c[1]) + c[2]);
}

/* function [real_T b] = f(real_T a[6x1], int32_T i1, int32_T i2, int32_T i3) */
void f(const real_T a[6], int32_T i1, int32_T i2, int32_T i3, real_T *b)
{
    real_T actual_function_b;
    actual_function(a, i1, i2, i3, &actual_function_b);
    *b = actual_function_b;
}
