// Rhythm and heart-rate-variability analysis over lists of R-peak positions.
//
// Positions are 1-based sample indices at the sampling rate fs (Hz; the ECG
// entries use 200 Hz). Heart rates are in beats per minute, rounded half away
// from zero; intervals and times are in seconds; band powers are in s^2.
// Every routine keeps its work areas per call, so any number of analyses may
// run at once in one process. These C++ entry points may throw std::bad_alloc
// when memory runs out (the exported C adapters catch it).
#pragma once

#include <cstdint>
#include <span>

namespace zyn {

// Heart rate from the median of the first n-1 RR intervals of peaks(1..n):
// 60 / median * fs, rounded. NaN when n < 2 (no interval).
double heart_rate_from_median_rr(std::span<const int32_t> peaks, int32_t n, int32_t fs);

// Heart rate from a trimmed mean of all RR intervals of the merged beat list
// (the first nNormal normal peaks and the first nExtra extra-systole peaks;
// negative counts mean none): 60 / (meanRR / fs), rounded. NaN with fewer
// than two beats.
double heart_rate_from_trimmed_mean(std::span<const int32_t> normalPeaks, int32_t nNormal,
                                    std::span<const int32_t> extraPeaks, int32_t nExtra,
                                    int32_t fs);

// Full HRV analysis of a beat list split into normal beats and extra systoles.
// timeResults: nn_rr, avnn, sdnn, sdann, sdnnidx, rmssd, pnn50 (over the first
// nRR intervals of the labelled series). freqResults: tot_pwr, ulf_pwr,
// vlf_pwr, lf_pwr, hf_pwr, lf_hf, written only when more than four NN
// intervals remain and the spectrum reaches down to 0.4 Hz. status: 0, or 4
// when no spectral point lies at or below 0.4 Hz.
void hrv_with_extra_systoles(std::span<const int32_t> normalPeaks,
                             std::span<const int32_t> extraPeaks, int32_t nRR, int32_t fs,
                             std::span<double, 7> timeResults, std::span<double, 6> freqResults,
                             int32_t& status);

// The same analysis for a plain beat list peaks(1..nRR+1) in which every beat
// is normal; the spectrum is always attempted.
void hrv_all_normal(std::span<const int32_t> peaks, int32_t nRR, int32_t fs,
                    std::span<double, 7> timeResults, std::span<double, 6> freqResults,
                    int32_t& status);

}  // namespace zyn
