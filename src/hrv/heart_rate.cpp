// Heart rate in beats per minute from R-peak positions (1-based samples at
// fs Hz), two ways: from the median RR interval of one beat list, and from a
// trimmed mean of the RR intervals of all beats (normal beats and extra
// systoles merged), which a few missed or spurious beats do not move. Both
// results are rounded half away from zero. Also the lifecycle routines of the
// two native entry units.
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "hrv/hrv.hpp"
#include "runtime/emx.hpp"
#include "runtime/scalar.hpp"
#include "zynecgsolver/hrv.h"
#include "zynecgsolver/rt_nonfinite.h"

namespace zyn {
namespace {

constexpr double kSecondsPerMinute = 60.0;
// Share of the sorted RR intervals trimmed at each end (at least one
// interval once there are more than three).
constexpr double kTrimFraction = 0.1;
constexpr std::size_t kFewestIntervalsToTrim = 4;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::size_t usable(int32_t count, std::size_t available) {
  return std::min<std::size_t>(static_cast<std::size_t>(std::max<int32_t>(count, 0)), available);
}

// Number of sorted intervals dropped at each end.
std::size_t trimmed_per_end(std::size_t m) {
  if (m < kFewestIntervalsToTrim) return 0;
  const double share = floor_trunc(kTrimFraction * static_cast<double>(m));
  return static_cast<std::size_t>(std::max(1.0, share));
}

}  // namespace

double heart_rate_from_trimmed_mean(std::span<const int32_t> normalPeaks, int32_t nNormal,
                                    std::span<const int32_t> extraPeaks, int32_t nExtra,
                                    int32_t fs) {
  std::vector<double> beats;
  for (int32_t p : normalPeaks.first(usable(nNormal, normalPeaks.size()))) beats.push_back(p);
  for (int32_t p : extraPeaks.first(usable(nExtra, extraPeaks.size()))) beats.push_back(p);
  std::sort(beats.begin(), beats.end());

  std::vector<double> intervals;  // samples
  for (std::size_t j = 1; j < beats.size(); ++j) intervals.push_back(beats[j] - beats[j - 1]);
  std::sort(intervals.begin(), intervals.end());

  const std::size_t m = intervals.size();
  const std::size_t k = trimmed_per_end(m);
  double sum = 0.0;
  std::size_t kept = 0;
  for (std::size_t i = k; i + k < m; ++i, ++kept) sum += intervals[i];
  const double meanRR = sum / static_cast<double>(kept);  // NaN when nothing is kept
  return round_half_away(kSecondsPerMinute / (meanRR / static_cast<double>(fs)));
}

double heart_rate_from_median_rr(std::span<const int32_t> peaks, int32_t n, int32_t fs) {
  const std::size_t beats = usable(n, peaks.size());
  if (beats < 2) return kNaN;
  std::vector<int32_t> rr(beats - 1);  // samples
  for (std::size_t k = 0; k + 1 < beats; ++k) rr[k] = saturating_sub(peaks[k + 1], peaks[k]);
  std::sort(rr.begin(), rr.end());

  const std::size_t m = rr.size();
  double median = 0.0;
  if (m % 2 == 1) {
    const double middle = round_half_away(static_cast<double>(beats) / 2.0);  // 1-based
    median = rr[static_cast<std::size_t>(middle) - 1];
  } else {
    median = (static_cast<double>(rr[m / 2 - 1]) + static_cast<double>(rr[m / 2])) * 0.5;
  }
  return round_half_away(kSecondsPerMinute / median * static_cast<double>(fs));
}

}  // namespace zyn

extern "C" {

ZYN_API real_T m_calcHRsys(const emxArray_int32_T* normalPeaks, int32_T nNormal,
                           const emxArray_int32_T* extraPeaks, int32_T nExtra, int32_T fs) {
  return zyn::guarded(zyn::kNaN, [&] {
    return zyn::heart_rate_from_trimmed_mean(zyn::elements(normalPeaks), nNormal,
                                             zyn::elements(extraPeaks), nExtra, fs);
  });
}

ZYN_API real_T calcHRvar(const emxArray_int32_T* peaks, int32_T n, int32_T fs) {
  return zyn::guarded(zyn::kNaN,
                      [&] { return zyn::heart_rate_from_median_rr(zyn::column(peaks), n, fs); });
}

ZYN_API void calcHRvar_initialize(void) { rt_InitInfAndNaN(8); }
ZYN_API void calcHRvar_terminate(void) {}
ZYN_API void toCompile_initialize(void) { rt_InitInfAndNaN(8); }
ZYN_API void toCompile_terminate(void) {}

}  // extern "C"
