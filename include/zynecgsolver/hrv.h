/* Heart rate and heart-rate variability (HRV) from R-peak positions.
 *
 * Peak positions are 1-based sample indices at fs Hz (the ECG entries use
 * 200 Hz); heart rates are in beats per minute, rounded half away from zero;
 * times and intervals are in seconds, band powers in s^2. Interval flags are
 * 78 ('N', interval ending at a normal beat) or 86 ('V', ending at an extra
 * systole). Every routine keeps its work areas per call: any number of
 * analyses may run at once.
 *
 * The periodogram routines (fasper, avevar, spread, realft, four1, zeromean)
 * work in single precision on arrays whose 1-based position k is element
 * k - 1 of the storage passed. */
#ifndef ZYNECGSOLVER_HRV_H
#define ZYNECGSOLVER_HRV_H

#include <stdint.h>

#include "zynecgsolver/export.h"
#include "zynecgsolver/types.h"

ZYN_EXTERN_C_BEGIN

/* Heart rate ---------------------------------------------------------------- */

/* Trimmed-mean heart rate of the merged beats normalPeaks(1..nNormal) and extraPeaks(1..nExtra) (negative counts mean none; counts beyond an array's length are clamped): 60 / (mean RR / fs), rounded; NaN with fewer than two beats. */
ZYN_API real_T m_calcHRsys(const emxArray_int32_T *normalPeaks, int32_T nNormal,
                           const emxArray_int32_T *extraPeaks, int32_T nExtra, int32_T fs);

/* Median-RR heart rate of peaks(1..n) (n clamped to the column length): 60 / median RR * fs, rounded; NaN when n < 2. */
ZYN_API real_T calcHRvar(const emxArray_int32_T *peaks, int32_T n, int32_T fs);

/* Lifecycle of the calcHRvar unit: initialise sets the non-finite constants; terminate does nothing. */
ZYN_API void calcHRvar_initialize(void);
ZYN_API void calcHRvar_terminate(void);

/* Wave detection of ecg (fs Hz, windows of qualityWindowSeconds, recorder full scale) into detectedNormalPeaks, detectedExtraPeaks, *overallQuality, windowQuality and *shortRrFlag; independently, the trimmed-mean heart rate of the caller's beats (first nNormal / nExtra, at rhythmFs Hz) into *heartRate and their labelled RR series into flags, t, rr. */
ZYN_API void toCompile(const emxArray_real_T *ecg, int32_T fs, int32_T qualityWindowSeconds,
                       const emxArray_int32_T *normalPeaks, int32_T nNormal,
                       const emxArray_int32_T *extraPeaks, int32_T nExtra, int32_T rhythmFs,
                       emxArray_int32_T *detectedNormalPeaks, emxArray_int32_T *detectedExtraPeaks,
                       int32_T *overallQuality, emxArray_int32_T *windowQuality,
                       real_T *heartRate, emxArray_int16_T *flags, emxArray_real_T *t,
                       emxArray_real_T *rr, int32_T *shortRrFlag, real_T fullScale);

/* Lifecycle of the toCompile unit: initialise sets the non-finite constants; terminate does nothing. */
ZYN_API void toCompile_initialize(void);
ZYN_API void toCompile_terminate(void);

/* RR series ----------------------------------------------------------------- */

/* Labelled RR series of the distinct beats of both lists (N beats): flags, t (midpoint time from the first interval's midpoint) and rr of N-1 intervals, and the NN series nnT, nnRR (intervals neither ending nor starting at an extra systole, the first interval dropped, numel(extraPeaks) cut from the end); all outputs empty with fewer than two beats. */
ZYN_API void m_calcRRextra(const emxArray_int32_T *normalPeaks, const emxArray_int32_T *extraPeaks,
                           int32_T fs, emxArray_int16_T *flags, emxArray_real_T *t,
                           emxArray_real_T *rr, emxArray_real_T *nnT, emxArray_real_T *nnRR);

/* Fills flags (all 'N'), rr and t of nRR intervals from peaks(1..nRR+1); returns nRR - 1 when nRR >= 2, the first sample difference when nRR is 1, 0 otherwise. */
ZYN_API int32_T calcRR(const int32_T *peaks, int32_T nRR, int32_T fs, char *flags, real_T *t,
                       real_T *rr);

/* Drivers and time-domain statistics ----------------------------------------- */

/* HRV of normal beats and extra systoles.
 *   normalPeaks  R peaks of the normal beats, 1-based sample positions at fs Hz, ascending
 *                (an n x 1 or 1 x n array; every element is used).
 *   extraPeaks   R peaks of the extra systoles, same units (may be empty).
 *   nRR          the count: how many RR intervals of the merged, labelled beat series to
 *                analyse, normally the number of normal beats minus one (as the Java entries
 *                pass it). The series of N merged beats has N - 1 intervals; only the first
 *                nRR of them enter the time-domain statistics (larger counts are clamped to
 *                N - 1, negative ones mean none), so with E extra systoles the last E
 *                intervals are left out. The spectrum always uses the whole NN series.
 *   fs           sampling rate of the positions in Hz (200 for the ECG entries).
 *   timeResults  7 doubles, written: nn_rr, avnn, sdnn, sdann, sdnnidx, rmssd, pnn50 (s or
 *                fractions).
 *   freqResults  6 doubles: tot_pwr, ulf_pwr, vlf_pwr, lf_pwr, hf_pwr (s^2), lf_hf; written
 *                only when more than 4 NN intervals remain, else left as the caller set them.
 *   status       0, or 4 when no spectrum could be integrated; may be NULL.
 * Nothing is done when timeResults or freqResults is NULL. The series are released
 * before returning. */
ZYN_API void calcHrvExtra(const emxArray_int32_T *normalPeaks, const emxArray_int32_T *extraPeaks,
                          int32_T nRR, int32_T fs, real_T *timeResults, real_T *freqResults,
                          int32_T *status);

/* HRV of a plain beat list peaks(1..nRR+1), every beat normal; results and status as calcHrvExtra, the spectrum always attempted. */
ZYN_API void calcHrv(const int32_T *peaks, int32_T nRR, int32_T fs, real_T *timeResults,
                     real_T *freqResults, int32_T *status);

/* calcStatNN, then sdann -1 or NaN becomes 0 and *status 0; returns the number of 300 s segments. */
ZYN_API int32_T calcHrvTime(const real_T *t, const real_T *rr, const char *flags, int32_T n,
                            real_T *timeResults, int32_T *status);

/* Time-domain statistics of n intervals over 300 s segments into timeResults[7] (sdann -1 when fewer than two segments, sdnnidx -1 when none); returns the number of segments. */
ZYN_API int32_T calcStatNN(const real_T *t, const real_T *rr, const char *flags, int32_T n,
                           real_T *timeResults);

/* Spectrum and band powers -------------------------------------------------- */

/* Band powers of the series (t, rr) of n points into freqResults[6]; *status 4 (record untouched) when fewer than three spectral points lie at or below 0.4 Hz. */
ZYN_API void calcHrvFreq(const real_T *t, const real_T *rr, int32_T n, real_T *freqResults,
                         int32_T *status);

/* Zeroes freq and amp entries above fmax; *kept counts the entries left (zero entries included). */
ZYN_API void limitFreq(real_T *freq, real_T *amp, uint64_t count, uint64_t *kept, real_T fmax);

/* Integrates amp^2 of the first n points into out[0] (total), out[1..nb] (bands with inclusive edges, nb = nEdges / 2) and out[nb+1] (band nb-1 / band nb); returns nb, or -1 (malformed table: nEdges < 3, odd, or more than 10 bands) or -2 (n < 3) leaving out untouched. */
ZYN_API int32_T calcPWR(int32_T nEdges, const real_T *edges, const real_T *freq,
                        const real_T *amp, int64_t n, real_T *out);

/* Lomb periodogram ---------------------------------------------------------- */

/* Variance of the series last given to avevar (written only, for C callers). */
ZYN_API extern float pwr;

/* Spectrum of points 2..n of (t, rr): frequencies (Hz) and amplitudes sqrt(2 power var / nout) of the lower half of the Lomb frequencies into freqOut / ampOut (at most nOut each); outputs untouched when workspaces cannot be allocated. */
ZYN_API void calcLomb(const real_T *t, const real_T *rr, int32_T n, real_T *freqOut,
                      real_T *ampOut, int32_T nOut);

/* Fast Lomb periodogram of n points: wk1(1..*nout) frequencies, wk2(1..*nout) normalised powers, *jmax the peak, *prob its false-alarm probability; *nout 0 (nothing computed) when nwk is below the grid size. */
ZYN_API void fasper(const float *x, const float *y, uint64_t n, float ofac, float hifac, float *wk1,
                    float *wk2, uint64_t nwk, uint64_t *nout, uint64_t *jmax, float *prob);

/* Mean and sample variance of data(1..n) in float; also stores the variance in pwr. */
ZYN_API void avevar(const float *data, uint64_t n, float *ave, float *var);

/* Adds y at fractional position x of yy(1..n) with m-point Lagrange extirpolation (m at most 10; positions outside yy are ignored). */
ZYN_API void spread(float *yy, uint64_t n, int32_T m, float y, float x);

/* In-place real FFT of n floats (n a power of two, else unchanged); isign 1 forward (first and last real parts packed in elements 1 and 2), -1 inverse times n/2. */
ZYN_API void realft(float *data, uint64_t n, int32_T isign);

/* In-place complex FFT of nn interleaved complex floats (nn a power of two, else unchanged), kernel exp(+2 pi i isign jk / nn). */
ZYN_API void four1(float *data, uint64_t nn, int32_T isign);

/* Does nothing. */
ZYN_API void help(void);

/* The part of path after its last '/' (path itself when there is none; NULL for NULL). */
ZYN_API const char *prog_name(const char *path);

/* Subtracts the mean of x(1..n), summed in double precision, from each element. */
ZYN_API void zeromean(float *x, uint64_t n);

ZYN_EXTERN_C_END

#endif
