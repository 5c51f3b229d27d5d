// Signal quality rating.
//
// Samples are in the recorder's unit, the same as fullScale; beats are
// 1-based sample positions, ascending. A stretch is saturated when its largest
// magnitude exceeds 97 % of full scale, irregular when the standard deviation
// of its RR intervals (in samples) exceeds a quarter of their mean. Windows
// are consecutive blocks of whole seconds; the remainder after the last whole
// window is not rated, and a window with fewer than two beats cannot be rated
// for rhythm at all, so it is coded 3 before saturation is looked at.
#include "beats/signal_quality.hpp"

#include <algorithm>
#include <cmath>

#include "beats/detection_kernels.hpp"
#include "runtime/emx.hpp"
#include "runtime/scalar.hpp"
#include "zynecgsolver/beats.h"

namespace zyn::beats {
namespace {

constexpr double kSaturationFractionOfFullScale = 0.97;
constexpr double kIrregularSdFractionOfMean = 0.25;
constexpr double kNoSamplesMagnitude = -10000.0;
constexpr int32_t kShortestSplitWindowSeconds = 4;  // windows of 4 s or less are never used

}  // namespace

int32_t stretch_quality(std::span<const double> ecg, std::span<const int32_t> beats, double fullScale,
                        double beatCount) {
  const double largest = largest_magnitude(ecg, kNoSamplesMagnitude);
  if (kSaturationFractionOfFullScale * fullScale < largest) return kQualitySaturated;

  // Never more beats than the list holds (a larger count would read past it).
  const double usable = std::min(beatCount, static_cast<double>(beats.size()));
  const double intervals = usable - 1.0;
  std::vector<double> rr;
  for (std::size_t i = 0; static_cast<double>(i) < intervals; ++i) {
    rr.push_back(static_cast<double>(saturating_sub(beats[i + 1], beats[i])));
  }
  double sum = 0.0;
  for (double v : rr) sum += v;
  const double mean = sum / intervals;
  double squares = 0.0;
  for (double v : rr) squares += (v - mean) * (v - mean);
  const double sd = std::sqrt(squares * (1.0 / (intervals - 1.0)));
  return kIrregularSdFractionOfMean * mean < sd ? kQualityIrregular : kQualityGood;
}

std::vector<int32_t> window_quality(std::span<const double> ecg, int32_t fs, std::span<const int32_t> beats,
                                    int32_t qualityWindowSeconds, double fullScale) {
  const double n = static_cast<double>(ecg.size());
  const double rate = static_cast<double>(fs);
  const double seconds = static_cast<double>(qualityWindowSeconds);
  const double wholeSeconds = floor_trunc(n / rate);
  int32_t windows = 1;
  // A rate below one sample per second cannot be split into windows of
  // samples (and would ask for an unbounded number of them).
  if (fs >= 1 && seconds <= wholeSeconds && qualityWindowSeconds > kShortestSplitWindowSeconds) {
    windows = std::max(1, to_int32_saturated(floor_trunc(n / rate / seconds)));
  }
  std::vector<int32_t> codes(static_cast<std::size_t>(windows), kWindowGood);
  // Beats in ascending order (as the detector gives them) are found by
  // bisection, not by a scan of every beat for every window.
  const bool ascending = std::is_sorted(beats.begin(), beats.end());
  std::vector<int32_t> inWindow;
  for (int32_t w = 1; w <= windows; ++w) {
    int32_t start = 1;
    int32_t end = to_int32_saturated(n);
    if (windows != 1) {
      start = to_int32_saturated(static_cast<double>(w - 1) * seconds * rate + 1.0);
      end = to_int32_saturated(static_cast<double>(w) * seconds * rate);
    }
    inWindow.clear();
    if (ascending && start <= end) {
      inWindow.assign(std::lower_bound(beats.begin(), beats.end(), start),
                      std::upper_bound(beats.begin(), beats.end(), end));
    } else if (!ascending) {
      for (int32_t b : beats) {
        if (start <= b && b <= end) inWindow.push_back(b);
      }
    }
    auto& code = codes[static_cast<std::size_t>(w - 1)];
    if (inWindow.size() <= 1) {
      code = kWindowTooFewBeats;
      continue;
    }
    // Samples start .. end, clipped to the recording; empty when end < start.
    std::span<const double> stretch;
    const int64_t first = std::max<int64_t>(start, 1);
    const int64_t last = std::min<int64_t>(end, static_cast<int64_t>(ecg.size()));
    if (last >= first) {
      stretch = ecg.subspan(static_cast<std::size_t>(first - 1), static_cast<std::size_t>(last - first + 1));
    }
    const int32_t q = stretch_quality(stretch, inWindow, fullScale, static_cast<double>(inWindow.size()));
    if (q == kQualitySaturated) code = kWindowSaturated;
    if (q == kQualityIrregular) code = kWindowIrregular;
  }
  return codes;
}

}  // namespace zyn::beats

extern "C" {

ZYN_API int32_T m_checkQualityVar(const emxArray_real_T* ecg, const emxArray_int32_T* beats, real_T fullScale,
                                  real_T beatCount) {
  return zyn::guarded(zyn::beats::kQualityGood, [&] {
    return zyn::beats::stretch_quality(zyn::elements(ecg), zyn::elements(beats), fullScale, beatCount);
  });
}

ZYN_API void m_checkWindowQuality(const emxArray_real_T* ecg, int32_T fs, const emxArray_int32_T* beats,
                                  int32_T qualityWindowSeconds, emxArray_int32_T* windowQuality, real_T fullScale) {
  zyn::guarded([&] {
    zyn::assign_column(windowQuality, zyn::beats::window_quality(zyn::elements(ecg), fs, zyn::elements(beats),
                                                                 qualityWindowSeconds, fullScale));
  });
}

}  // extern "C"
