/* Smoothing and statistics over the array records: the centred moving-average
 * smoother, the 2 x 2 sample covariance, the correlation of two vectors, the
 * correlation-coefficient matrix of the columns of a matrix and the kurtosis.
 * Vectors are read over all their elements; covariances use the divisor n - 1. */
#ifndef ZYNECGSOLVER_TOOLBOX_STATS_H
#define ZYNECGSOLVER_TOOLBOX_STATS_H

#include "zynecgsolver/export.h"
#include "zynecgsolver/types.h"

ZYN_EXTERN_C_BEGIN

/* Replaces x in place by its centred moving average over 2*ceil(span/2)-1 samples
 * (fewer at the ends; unchanged below 2 samples or for a width of 1). */
ZYN_API void m_refp1_smooth_emlc(emxArray_real_T *x, real_T span);
/* C (column-major 2 x 2) = sample covariance of x and y (all NaN when empty, all 0 for one sample). */
ZYN_API void m_cov(const emxArray_real_T *x, const emxArray_real_T *y, real_T C[4]);
/* cov(x, y) / (sqrt(var y) * sqrt(var x)); NaN for constant input or one sample. */
ZYN_API real_T m_corr_emlc(const emxArray_real_T *x, const emxArray_real_T *y);
/* R (cols x cols) = correlation coefficients of the columns of X, clamped to [-1, 1];
 * diagonal 1, or NaN where a column's variance is not positive. */
ZYN_API void m_corrcoef(const emxArray_real_T *X, emxArray_real_T *R);
/* Plain kurtosis (mean d^4) / (mean d^2)^2 of x; centres x in place. */
ZYN_API real_T m_kurtosis_emlc(emxArray_real_T *x);

ZYN_EXTERN_C_END

#endif
