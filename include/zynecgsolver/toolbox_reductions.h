/* Elementwise operations and reductions over the array records.
 *
 * A column walk reads positions 1 .. size[0]; a row walk reads positions
 * 1 .. size[1] of a 1 x n row. Output records are supplied by the caller and
 * resized here. Positions are 1-based and returned as doubles. Sums add in
 * ascending position. Empty input to the value-only maximum and minimum gives
 * NaN. */
#ifndef ZYNECGSOLVER_TOOLBOX_REDUCTIONS_H
#define ZYNECGSOLVER_TOOLBOX_REDUCTIONS_H

#include "zynecgsolver/export.h"
#include "zynecgsolver/types.h"

ZYN_EXTERN_C_BEGIN

/* Maxima and minima ---------------------------------------------------------- */

/* Largest value of the column walk (NaN when empty). */
ZYN_API real_T m_max(const emxArray_real_T *x);
/* Largest value of the row walk (NaN when empty). */
ZYN_API real_T m_b_max(const emxArray_real_T *x);
/* a when a >= b, else b (the first on ties, the second when either is NaN). */
ZYN_API real_T m_c_max(real_T a, real_T b);
/* y (rows x 1) = largest value of each row of the matrix x (NaN rows when x has no columns). */
ZYN_API void m_d_max(const emxArray_real_T *x, emxArray_real_T *y);
/* Largest value of the row walk and its first 1-based position (NaN at 0 when empty). */
ZYN_API void m_e_max(const emxArray_real_T *x, real_T *maxval, real_T *indx);
/* Largest value of the column walk and its first 1-based position (NaN at 0 when empty). */
ZYN_API void m_f_max(const emxArray_real_T *x, real_T *maxval, real_T *indx);
/* Smallest value of the column walk (NaN when empty). */
ZYN_API real_T m_min(const emxArray_real_T *x);
/* Smallest value of the row walk (NaN when empty). */
ZYN_API real_T m_b_min(const emxArray_real_T *x);
/* a when b >= a, else b (the first on ties, the second when either is NaN). */
ZYN_API real_T m_c_min(real_T a, real_T b);
/* Smaller of two 32-bit integers. */
ZYN_API int32_T m_d_min(int32_T a, int32_T b);
/* p[0] when p[0] < p[1], else p[1]. */
ZYN_API real_T m_e_min(const real_T p[2]);
/* Largest minus smallest value of the row walk. */
ZYN_API real_T m_range_emlc(const emxArray_real_T *x);

/* Sums, means, medians, variances --------------------------------------------- */

/* Sum of the column walk (0 when empty). */
ZYN_API real_T m_sum(const emxArray_real_T *x);
/* Sum of the column walk (0 when empty). */
ZYN_API real_T m_b_sum(const emxArray_real_T *x);
/* Sum of the row walk (0 when empty). */
ZYN_API real_T m_d_sum(const emxArray_real_T *x);
/* Sum of the row walk (0 when empty). */
ZYN_API real_T m_f_sum(const emxArray_real_T *x);
/* Number of true elements of the column walk, as a double. */
ZYN_API real_T m_e_sum(const emxArray_boolean_T *x);
/* x[0] + x[1]. */
ZYN_API real_T m_g_sum(const real_T x[2]);
/* y (1 x cols) = sum of each column of the matrix x (zeros when x has no rows). */
ZYN_API void m_c_sum(const emxArray_real_T *x, emxArray_real_T *y);
/* Mean of the column walk (NaN when empty). */
ZYN_API real_T m_mean(const emxArray_real_T *x);
/* Mean of the row walk (NaN when empty). */
ZYN_API real_T m_b_mean(const emxArray_real_T *x);
/* (x[0] + x[1]) / 2. */
ZYN_API real_T m_c_mean(const real_T x[2]);
/* Median of the column walk (NaN when empty; overflow-free midpoint for one sign). */
ZYN_API real_T m_median(const emxArray_real_T *x);
/* Median of the row walk (NaN when empty; overflow-free midpoint for one sign). */
ZYN_API real_T m_b_median(const emxArray_real_T *x);
/* Sample variance of the column walk (divisor n - 1; 0 for one element, NaN when empty). */
ZYN_API real_T m_var(const emxArray_real_T *x);
/* Square root of m_var. */
ZYN_API real_T m_std(const emxArray_real_T *x);

/* Differences ------------------------------------------------------------------ */

/* y = x(k+1) - x(k) over the column walk: (n-1) x 1; 0 x 1 for n = 0, 0 x 0 for n = 1. */
ZYN_API void m_diff(const emxArray_real_T *x, emxArray_real_T *y);
/* y = x(k+1) - x(k) over the row walk: 1 x (n-1); 1 x 0 for n = 0, 0 x 0 for n = 1. */
ZYN_API void m_b_diff(const emxArray_real_T *x, emxArray_real_T *y);
/* The 16 first differences of 17 values. */
ZYN_API void m_c_diff(const real_T x[17], real_T y[16]);
/* The 20 first differences of 21 values. */
ZYN_API void m_d_diff(const real_T x[21], real_T y[20]);

/* Division, powers, remainder, absolute value ----------------------------------- */

/* a / b (IEEE: x/0 is a signed infinity, 0/0 NaN). */
ZYN_API real_T m_eml_div(real_T a, real_T b);
/* a / b. */
ZYN_API real_T m_rdivide(real_T a, real_T b);
/* a / b. */
ZYN_API real_T m_mrdivide(real_T a, real_T b);
/* z (n x 1) = x ./ y over x's column walk (a missing divisor counts as NaN). */
ZYN_API void m_b_rdivide(const emxArray_real_T *x, const emxArray_real_T *y, emxArray_real_T *z);
/* y (1 x n) = each element of the row x times r = 1 / s, r formed once. */
ZYN_API void m_c_rdivide(const emxArray_real_T *x, real_T s, emxArray_real_T *y);
/* y (1 x n) = each element of the row x times r = 1 / s, r formed once. */
ZYN_API void m_b_mrdivide(const emxArray_real_T *x, real_T s, emxArray_real_T *y);
/* a^b by rt_pow_snf. */
ZYN_API real_T m_b_power(real_T a, real_T b);
/* x^2 by rt_pow_snf, exactly x * x. */
ZYN_API real_T m_mpower(real_T x);
/* y (n x 1) = square of each element of the column walk. */
ZYN_API void m_power(const emxArray_real_T *x, emxArray_real_T *y);
/* y (n x 1) = cube of each element of the column walk (library power function). */
ZYN_API void m_c_power(const emxArray_real_T *x, emxArray_real_T *y);
/* y (1 x n) = x - 2 * floor(0.5 * x) over the row walk (odd integers give 1). */
ZYN_API void m_mod(const emxArray_real_T *x, emxArray_real_T *y);
/* y = |x| elementwise over a 2-D array; y takes both extents of x. */
ZYN_API void m_abs(const emxArray_real_T *x, emxArray_real_T *y);
/* y (n x 1) = |x| over the column walk. */
ZYN_API void m_c_abs(const emxArray_real_T *x, emxArray_real_T *y);

/* Lengths, tests and fills --------------------------------------------------------- */

/* Length of a 1-D real array: size[0] (0 when empty). */
ZYN_API real_T m_length(const emxArray_real_T *x);
/* Length of a 1-D int32 array: size[0] (0 when empty). */
ZYN_API real_T m_c_length(const emxArray_int32_T *x);
/* Length of a 2-D real array: 0 when an extent is 0, else the larger extent. */
ZYN_API real_T m_b_length(const emxArray_real_T *x);
/* Length of a 2-D int32 array: 0 when an extent is 0, else the larger extent. */
ZYN_API real_T m_d_length(const emxArray_int32_T *x);
/* Length of a 2-D boolean array: 0 when an extent is 0, else the larger extent. */
ZYN_API real_T m_e_length(const emxArray_boolean_T *x);
/* True when every element of the column walk is nonzero (true when empty). */
ZYN_API boolean_T m_all(const emxArray_boolean_T *x);
/* True when both extents agree and no pair of the first size[1] elements differs
 * (a < b or a > b; two NaN compare equal). */
ZYN_API boolean_T m_isequal(const emxArray_real_T *a, const emxArray_real_T *b);
/* y = 1 x trunc(count) copies of value (1 x 0 when count < 1). */
ZYN_API void m_repmat(real_T value, real_T count, emxArray_real_T *y);

ZYN_EXTERN_C_END

#endif
