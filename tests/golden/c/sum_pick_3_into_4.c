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

/* function [real_T b[2x1]] = f1(real_T a[6x1], int32_T i1, int32_T i2, int32_T i3) */
void f1(const real_T a[6], int32_T i1, int32_T i2, int32_T i3, real_T b[2]);

/* function [real_T b[4x1]] = f(real_T a[6x1], int32_T i1, int32_T i2, int32_T i3) */
void f(const real_T a[6], int32_T i1, int32_T i2, int32_T i3, real_T b[4]);

#endif

/* C definitions of the functions of module "module", emitted by sxir */
#include "module.h"

#include <string.h>

/* function [real_T b[2x1]] = f1(real_T a[6x1], int32_T i1, int32_T i2, int32_T i3) */
void f1(const real_T a[6], int32_T i1, int32_T i2, int32_T i3, real_T b[2])
{
    real_T c[2] = {0};
    memset(b, 0, 2 * sizeof(real_T));
    c[0] = a[i1];
    c[1] = a[i2];
    b[0] = (c[0] + c[1]);
    c[0] = a[i2];
    c[1] = a[i3];
    b[1] = (c[0] + c[1]);
}

/* function [real_T b[4x1]] = f(real_T a[6x1], int32_T i1, int32_T i2, int32_T i3) */
void f(const real_T a[6], int32_T i1, int32_T i2, int32_T i3, real_T b[4])
{
    memset(b, 0, 4 * sizeof(real_T));
    real_T f1_b[2];
    f1(a, i1, i2, i3, f1_b);
    memcpy(b, f1_b, 2 * sizeof(real_T));
    real_T f1_b_1[2];
    f1(a, i3, i2, i1, f1_b_1);
    memcpy(b + 2, f1_b_1, 2 * sizeof(real_T));
}
