// Frequency-domain HRV record of an NN series: the Lomb spectrum (Hz, s) is
// cut at 0.4 Hz and its squared amplitudes (s^2) are summed over the whole
// kept spectrum and over the ULF (0-0.0033 Hz), VLF (0.0033-0.04 Hz), LF
// (0.04-0.15 Hz) and HF (0.15-0.4 Hz) bands with inclusive edges; the last
// slot is LF/HF. A spectrum with fewer than three points at or below 0.4 Hz
// is reported as a failure instead of being integrated.
#include "hrv/band_power.hpp"

#include <algorithm>
#include <vector>

#include "hrv/lomb.hpp"
#include "runtime/emx.hpp"
#include "zynecgsolver/hrv.h"

namespace zyn {
namespace {
constexpr int64_t kMinimumSpectralPoints = 3;
// The spectrum delivers two frequencies per series point.
constexpr std::size_t kSpectrumEntriesPerPoint = 2;
// The spectrum's last two entries stay at frequency 0 and are counted as
// kept by limit_frequencies; they are not spectral points.
constexpr int64_t kTrailingZeroEntries = 2;
}  // namespace

uint64_t limit_frequencies(std::span<double> freq, std::span<double> amp, double fmax) {
  const std::size_t count = std::min(freq.size(), amp.size());
  uint64_t kept = 0;
  for (std::size_t i = 0; i < count; ++i) {
    if (fmax >= freq[i]) {
      ++kept;
    } else {
      freq[i] = 0.0;
      amp[i] = 0.0;
    }
  }
  return kept;
}

int32_t band_powers(std::span<const double> edges, std::span<const double> freq,
                    std::span<const double> amp, int64_t n, std::span<double> out) {
  const std::size_t nEdges = edges.size();
  const std::size_t nb = nEdges / 2;
  if (nEdges < 3 || nEdges % 2 != 0 || nb > static_cast<std::size_t>(kMaxBands) ||
      out.size() < nb + 2) {
    return static_cast<int32_t>(BandPowerFailure::kMalformedBandTable);
  }
  n = std::min<int64_t>({n, static_cast<int64_t>(freq.size()), static_cast<int64_t>(amp.size())});
  if (n < kMinimumSpectralPoints) return static_cast<int32_t>(BandPowerFailure::kTooFewPoints);

  double total = 0.0;
  std::array<double, kMaxBands> sums{};
  for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
    const double p = amp[i] * amp[i];
    total += p;
    for (std::size_t b = 0; b < nb; ++b) {
      if (edges[2 * b] <= freq[i] && freq[i] <= edges[2 * b + 1]) sums[b] += p;
    }
  }
  out[0] = total;
  for (std::size_t b = 0; b < nb; ++b) out[1 + b] = sums[b];
  out[nb + 1] = sums[nb - 2] / sums[nb - 1];
  return static_cast<int32_t>(nb);
}

bool frequency_domain_hrv(std::span<const double> t, std::span<const double> rr,
                          std::span<double, 6> freqResults) {
  const std::size_t n = std::min(t.size(), rr.size());
  std::vector<double> freq(kSpectrumEntriesPerPoint * n, 0.0);
  std::vector<double> amp(kSpectrumEntriesPerPoint * n, 0.0);
  // Without workspaces the spectrum stays all zero and is integrated as such.
  (void)lomb_spectrum(t.first(n), rr.first(n), freq, amp);
  const uint64_t kept = limit_frequencies(freq, amp, kSpectrumLimitHz);
  if (kept == 0) return false;
  const int64_t points = static_cast<int64_t>(kept) - kTrailingZeroEntries;
  return band_powers(kHrvBandEdgesHz, freq, amp, points, freqResults) > 0;
}

}  // namespace zyn

extern "C" {

ZYN_API void calcHrvFreq(const real_T* t, const real_T* rr, int32_T n, real_T* freqResults,
                         int32_T* status) {
  if (freqResults == nullptr) return;
  const bool done = zyn::guarded(false, [&] {
    const auto count = static_cast<std::size_t>(t && rr ? std::max<int32_T>(n, 0) : 0);
    return zyn::frequency_domain_hrv({t, count}, {rr, count},
                                     std::span<double, 6>(freqResults, 6));
  });
  if (!done && status != nullptr) *status = zyn::kStatusNoSpectrum;
}

ZYN_API void limitFreq(real_T* freq, real_T* amp, uint64_t count, uint64_t* kept, real_T fmax) {
  const std::size_t usable = freq && amp ? static_cast<std::size_t>(count) : 0;
  const uint64_t k = zyn::limit_frequencies({freq, usable}, {amp, usable}, fmax);
  if (kept != nullptr) *kept = k;
}

ZYN_API int32_T calcPWR(int32_T nEdges, const real_T* edges, const real_T* freq,
                        const real_T* amp, int64_t n, real_T* out) {
  using zyn::BandPowerFailure;
  if (edges == nullptr || out == nullptr || nEdges < 0) {
    return static_cast<int32_T>(BandPowerFailure::kMalformedBandTable);
  }
  const auto edgeCount = static_cast<std::size_t>(nEdges);
  const std::size_t points = freq && amp && n > 0 ? static_cast<std::size_t>(n) : 0;
  return zyn::band_powers({edges, edgeCount}, {freq, points}, {amp, points}, n,
                          {out, edgeCount / 2 + 2});
}

}  // extern "C"
