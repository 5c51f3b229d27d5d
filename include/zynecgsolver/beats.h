/* Beat detection, beat classification and signal quality of a single-lead ECG.
 *
 * Sample positions are 1-based indices into the given stretch. Beat classes
 * are 1 for the majority morphology and 2 for the other. Quality codes: for a
 * whole stretch 1 good, 2 saturated, 3 irregular; per window 0 good, 3 fewer
 * than two beats, 5 saturated, 6 irregular. */
#ifndef ZYNECGSOLVER_BEATS_H
#define ZYNECGSOLVER_BEATS_H

#include "zynecgsolver/export.h"
#include "zynecgsolver/types.h"

ZYN_EXTERN_C_BEGIN

/* Fourth-order band-pass (fixed coefficients) over the first extent of x,
 * starting from the four-element state zi; y gets the same length. */
ZYN_API void m_filter(const emxArray_real_T *x, const real_T zi[4], emxArray_real_T *y);

/* Coarse zero-phase band-pass R-peak detector: 1 x n row of 1-based peak
 * positions (1 x K zeros when candidates exist but none is accepted; 1 x 0
 * for fewer than 13 samples or no candidate). */
ZYN_API void m_primitive_rpeaks_offline(const emxArray_real_T *signal, real_T fs,
                                        emxArray_real_T *rpeaks);

/* R-peak detection and two-class beat classification; modifies ecg in place.
 * rpeaks and beatClass become parallel 1 x n rows ([0] and [0] when unusable). */
ZYN_API void m_analyze_ecg_offline_r(emxArray_real_T *ecg, emxArray_real_T *rpeaks,
                                     emxArray_real_T *beatClass, real_T fs);

/* Beats more than one second from either end (1 x n rows); returns 1.0 when the
 * coarse RR intervals are implausibly short, else 0.0. ecg is not changed. */
ZYN_API real_T m_analyze_ecg_offline(const emxArray_real_T *ecg, emxArray_real_T *rpeaks,
                                     emxArray_real_T *beatClass, real_T fs);

/* Integer front: rpeaks n x 1, beatClass 1 x n, short-RR flag 0 or 1. */
ZYN_API int32_T m_analyze_ecg_offline_emlc(const emxArray_real_T *ecg, int32_T fs,
                                           emxArray_int32_T *rpeaks,
                                           emxArray_int32_T *beatClass);

/* Quality of one stretch with its first beatCount beats: 2 saturated (a sample
 * above 0.97 x fullScale), 3 irregular (RR sd above 0.25 x mean), else 1. */
ZYN_API int32_T m_checkQualityVar(const emxArray_real_T *ecg, const emxArray_int32_T *beats,
                                  real_T fullScale, real_T beatCount);

/* One code per whole quality window (W x 1 column): 0 good, 3 fewer than two
 * beats, 5 saturated, 6 irregular. */
ZYN_API void m_checkWindowQuality(const emxArray_real_T *ecg, int32_T fs,
                                  const emxArray_int32_T *beats, int32_T qualityWindowSeconds,
                                  emxArray_int32_T *windowQuality, real_T fullScale);

/* Whole-recording beat detection and quality rating: normal and extra beats as
 * ascending columns, per-window and overall quality codes, short-RR flag. */
ZYN_API void m_detectWaves(const emxArray_real_T *ecg, int32_T fs, int32_T qualityWindowSeconds,
                           emxArray_int32_T *normalPeaks, emxArray_int32_T *extraPeaks,
                           emxArray_int32_T *windowQuality, int32_T *overallQuality,
                           int32_T *shortRrFlag, real_T fullScale);

ZYN_EXTERN_C_END

#endif
