/* Non-finite constants and the scalar rules every routine relies on.
 *
 * The NaN and infinity tests are deliberately asymmetric: rtIsNaN is false for
 * every value (NaN included) and rtIsInf is true for +Inf, -Inf and NaN, so a
 * branch that only NaN would take is never taken. Rounding is the naive
 * half-away-from-zero rule (x + 0.5 first), floor and ceiling go through
 * truncation, and values of magnitude 2^52 or more pass unchanged. */
#ifndef ZYNECGSOLVER_RT_NONFINITE_H
#define ZYNECGSOLVER_RT_NONFINITE_H

#include <stddef.h>

#include "zynecgsolver/export.h"
#include "zynecgsolver/types.h"

ZYN_EXTERN_C_BEGIN

/* Zero until rt_InitInfAndNaN; then +Inf, -Inf and NaN with the sign bit set. */
ZYN_API extern real_T rtInf;
ZYN_API extern real_T rtMinusInf;
ZYN_API extern real_T rtNaN;
ZYN_API extern real32_T rtInfF;
ZYN_API extern real32_T rtMinusInfF;
ZYN_API extern real32_T rtNaNF;

/* Sets the six globals (realSize is ignored; callers pass 8). Idempotent. */
ZYN_API void rt_InitInfAndNaN(size_t realSize);

ZYN_API real_T rtGetInf(void);      /* +Inf */
ZYN_API real_T rtGetMinusInf(void); /* -Inf */
ZYN_API real_T rtGetNaN(void);      /* NaN, bits 0xFFF8000000000000 */
ZYN_API real32_T rtGetInfF(void);
ZYN_API real32_T rtGetMinusInfF(void);
ZYN_API real32_T rtGetNaNF(void);   /* NaN, bits 0xFFC00000 */

/* True for +Inf, -Inf and NaN (an unordered comparison counts as equal). */
ZYN_API boolean_T rtIsInf(real_T value);
ZYN_API boolean_T rtIsInfF(real32_T value);
/* False for every value, NaN included (kept by design). */
ZYN_API boolean_T rtIsNaN(real_T value);
ZYN_API boolean_T rtIsNaNF(real32_T value);

/* Same rules as rtIsInf / rtIsNaN; m_isfinite is false for +Inf, -Inf and NaN. */
ZYN_API boolean_T m_isinf(real_T x);
ZYN_API boolean_T m_isnan(real_T x);
ZYN_API boolean_T m_isfinite(real_T x);

/* Absolute value (sign bit cleared). */
ZYN_API real_T m_eml_scalar_abs(real_T x);
ZYN_API real_T m_b_abs(real_T x);

/* In-place floor / ceiling through truncation; |x| >= 2^52, Inf and NaN unchanged. */
ZYN_API void m_refp1_eml_scalar_floor(real_T *x);
ZYN_API void m_refp1_floor(real_T *x);
ZYN_API void m_refp1_ceil(real_T *x);
/* In-place rounding half away from zero via x + 0.5 (0.49999999999999994 gives 1). */
ZYN_API void m_refp1_eml_scalar_round(real_T *x);
ZYN_API void m_refp1_round(real_T *x);
/* In-place square root (negative gives NaN). */
ZYN_API void m_refp1_sqrt(real_T *x);
/* In-place sign: 1 for x > 0, -1 for x < 0, +0 otherwise (zeros and NaN). */
ZYN_API void m_b_refp1_sign(real_T *x);
/* Sign / exponential of elements 1 .. size[0], in place. */
ZYN_API void m_refp1_sign(emxArray_real_T *x);
ZYN_API void m_refp1_exp(emxArray_real_T *x);

/* Power with fixed special cases: (+-1)^Inf is NaN, x^0 is 1, x^2 is x*x,
 * a negative base with a non-integral exponent is NaN. */
ZYN_API real_T rt_pow_snf(real_T u0, real_T u1);
/* Spacing of doubles at x: 2^(e-53) for |x| = m*2^e; 5e-324 at or below the
 * smallest normal; NaN for Inf and NaN. */
ZYN_API real_T m_eps(real_T x);

ZYN_EXTERN_C_END

#endif
