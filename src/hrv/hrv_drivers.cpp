// HRV drivers: from R-peak positions (1-based samples at fs Hz) to the
// time-domain record (nn_rr, avnn, sdnn, sdann, sdnnidx, rmssd, pnn50; s or
// fractions) and the frequency-domain record (tot, ulf, vlf, lf, hf powers in
// s^2 and lf/hf). calcHrvExtra works on beats split into normal beats and
// extra systoles; calcHrv on a plain list in which every beat is normal.
// Status is 0 after the time-domain step and 4 when no spectrum could be
// integrated. All series are per call and released before returning.
#include <algorithm>
#include <vector>

#include "hrv/band_power.hpp"
#include "hrv/hrv.hpp"
#include "hrv/rr_series.hpp"
#include "hrv/time_domain.hpp"
#include "runtime/emx.hpp"
#include "zynecgsolver/hrv.h"

namespace zyn {
namespace {

// The spectrum needs more than this many NN intervals.
constexpr std::size_t kFewestNNForSpectrum = 4;

std::size_t count_of(int32_t n) { return static_cast<std::size_t>(std::max<int32_t>(n, 0)); }

}  // namespace

void hrv_with_extra_systoles(std::span<const int32_t> normalPeaks,
                             std::span<const int32_t> extraPeaks, int32_t nRR, int32_t fs,
                             std::span<double, 7> timeResults, std::span<double, 6> freqResults,
                             int32_t& status) {
  const LabelledRRSeries series = labelled_rr_series(normalPeaks, extraPeaks, fs);
  // Only the first nRR intervals (normal beats - 1) are analysed: with E extra
  // systoles the last E intervals are left out, matching the NN series.
  const std::size_t n = std::min(count_of(nRR), series.flags.size());
  std::vector<char> flagBytes(n);
  for (std::size_t i = 0; i < n; ++i) flagBytes[i] = static_cast<char>(series.flags[i] & 0xFF);
  time_domain_hrv(std::span(series.t).first(n), std::span(series.rr).first(n), flagBytes,
                  timeResults, status);
  if (series.nnT.size() > kFewestNNForSpectrum &&
      !frequency_domain_hrv(series.nnT, series.nnRR, freqResults)) {
    status = kStatusNoSpectrum;
  }
}

// HRV of peaks(1..nRR+1), every beat normal.
void hrv_all_normal(std::span<const int32_t> peaks, int32_t nRR, int32_t fs,
                    std::span<double, 7> timeResults, std::span<double, 6> freqResults,
                    int32_t& status) {
  const std::size_t n = std::min(count_of(nRR), peaks.empty() ? 0 : peaks.size() - 1);
  std::vector<char> flags(n, 0);
  std::vector<double> t(n, 0.0);
  std::vector<double> rr(n, 0.0);
  all_normal_rr_series(peaks, fs, flags, t, rr);
  time_domain_hrv(t, rr, flags, timeResults, status);
  if (!frequency_domain_hrv(t, rr, freqResults)) status = kStatusNoSpectrum;
}

}  // namespace zyn

extern "C" {

ZYN_API void calcHrvExtra(const emxArray_int32_T* normalPeaks, const emxArray_int32_T* extraPeaks,
                          int32_T nRR, int32_T fs, real_T* timeResults, real_T* freqResults,
                          int32_T* status) {
  if (timeResults == nullptr || freqResults == nullptr) return;
  zyn::guarded([&] {
    int32_t ignored = 0;
    zyn::hrv_with_extra_systoles(zyn::elements(normalPeaks), zyn::elements(extraPeaks), nRR, fs,
                                 std::span<double, 7>(timeResults, 7),
                                 std::span<double, 6>(freqResults, 6),
                                 status != nullptr ? *status : ignored);
  });
}

ZYN_API void calcHrv(const int32_T* peaks, int32_T nRR, int32_T fs, real_T* timeResults,
                     real_T* freqResults, int32_T* status) {
  if (peaks == nullptr || timeResults == nullptr || freqResults == nullptr) return;
  zyn::guarded([&] {
    int32_t ignored = 0;
    const std::size_t nPeaks = nRR > 0 ? static_cast<std::size_t>(nRR) + 1 : 0;
    zyn::hrv_all_normal(std::span<const int32_t>(peaks, nPeaks), nRR, fs,
                        std::span<double, 7>(timeResults, 7), std::span<double, 6>(freqResults, 6),
                        status != nullptr ? *status : ignored);
  });
}

}  // extern "C"
