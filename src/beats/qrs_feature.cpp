// Baseline removal, noise level, QRS feature and threshold of the R-peak
// detector (see detector_stages.hpp for each stage's contract).
//
// Input: a single-lead ECG in any amplitude unit sampled at fs Hz. The QRS
// feature is in that unit cubed (amplitude range squared times slope
// range); the threshold compares it with three times the cubed noise level
// (a standard deviation in the same unit) plus half its own 3-second trend.
#include <algorithm>
#include <cmath>

#include "beats/detection_kernels.hpp"
#include "beats/detector_stages.hpp"
#include "beats/detector_units.hpp"
#include "beats/signal_kernels.hpp"
#include "runtime/scalar.hpp"
#include "toolbox/reductions.hpp"
#include "toolbox/stats.hpp"

namespace zyn::beats {
namespace {

constexpr double kBaselineSpanDivisor = 5.0;  // fs / 5 samples: 0.2 s
constexpr double kNoiseHalfWindowSeconds = 0.2;
constexpr double kRangeHalfWindowSeconds = 0.05;
constexpr double kEnvelopeHalfWindowSeconds = 0.1;
constexpr double kTrendSmoothSeconds = 3.0;
constexpr double kNoiseCubeWeight = 3.0;
constexpr double kTrendWeight = 0.5;

// Zero where the +-w window of a sample leaves the signal: the w samples at
// each end, or all of v when it holds no full window. The window kernels
// write only the full windows.
void zero_outside_full_windows(std::span<double> v, std::ptrdiff_t w) {
  const auto n = static_cast<std::ptrdiff_t>(v.size());
  const std::ptrdiff_t edge = n < 2 * w + 1 ? n : w;
  std::fill_n(v.begin(), edge, 0.0);
  std::fill(v.end() - edge, v.end(), 0.0);
}

// The w samples at each end, whose +-w window leaves the signal, repeat the
// first and the last value of a full window (when the signal holds one).
void hold_ends_at_first_full_window(std::span<double> v, std::ptrdiff_t w) {
  const auto n = static_cast<std::ptrdiff_t>(v.size());
  if (n < 2 * w + 1) return;
  const double head = v[static_cast<std::size_t>(w)];
  const double tail = v[static_cast<std::size_t>(n - w - 1)];
  std::fill_n(v.begin(), w, head);
  std::fill(v.end() - w, v.end(), tail);
}

// The trend's first and last second are held at the values one second in.
void hold_trend_ends(std::span<double> trend, double fs) {
  const auto n = static_cast<std::ptrdiff_t>(trend.size());
  const std::ptrdiff_t second = std::min(samples_floor(fs), n);
  const double headPlace = std::trunc(fs + 1.0);
  if (headPlace >= 1.0 && headPlace <= static_cast<double>(n)) {
    const double head = trend[static_cast<std::size_t>(headPlace) - 1];
    std::fill_n(trend.begin(), second, head);
  }
  const double tailPlace = std::trunc(static_cast<double>(n) - fs);
  if (tailPlace >= 1.0 && tailPlace <= static_cast<double>(n)) {
    const double tail = trend[static_cast<std::size_t>(tailPlace) - 1];
    std::fill(trend.end() - second, trend.end(), tail);
  }
}

}  // namespace

void remove_baseline(std::span<const double> input, std::span<double> raw, std::span<double> ecg, double fs) {
  const double med = median(input);
  for (std::size_t k = 0; k < input.size(); ++k) raw[k] = input[k] - med;
  subtract_moving_average(raw, ecg, fs / kBaselineSpanDivisor);
}

// The running sums are updated, never recomputed, so their rounding drift is
// part of the result. They are a serial chain: they are taken in blocks, and
// the divisions and roots of a block then run side by side.
void noise_level(std::span<const double> ecg, double fs, std::span<double> sd) {
  const std::ptrdiff_t w = samples_floor(kNoiseHalfWindowSeconds * fs);
  const auto n = static_cast<std::ptrdiff_t>(ecg.size());
  zero_outside_full_windows(sd, w);
  const OneBased x{ecg};
  double s = 0.0, q = 0.0;
  for (std::ptrdiff_t i = 1; i <= std::min(2 * w, n); ++i) {
    s += x(i);
    q += x(i) * x(i);
  }
  const double width = static_cast<double>(2 * w + 1);
  const double dof = static_cast<double>(2 * w);
  constexpr std::ptrdiff_t kBlock = 256;
  double sums[kBlock], squares[kBlock];
  for (std::ptrdiff_t first = w + 1; first <= n - w; first += kBlock) {
    const std::ptrdiff_t count = std::min(kBlock, n - w - first + 1);
    for (std::ptrdiff_t j = 0; j < count; ++j) {
      const std::ptrdiff_t k = first + j;
      s += x(k + w);
      q += x(k + w) * x(k + w);
      sums[j] = s;
      squares[j] = q;
      s -= x(k - w);
      q -= x(k - w) * x(k - w);
    }
    standard_deviations_from_sums(sums, squares, static_cast<std::size_t>(count), width, dof,
                                  &sd[static_cast<std::size_t>(first - 1)]);
  }
  hold_ends_at_first_full_window(sd, w);
}

void qrs_feature(std::span<const double> ecg, double fs, std::span<double> slope, std::span<double> slopeRange,
                 std::span<double> feature) {
  const std::ptrdiff_t v = samples_floor(kRangeHalfWindowSeconds * fs);
  const std::size_t n = ecg.size();
  slope.front() = slope.back() = 0.0;
  for (std::size_t k = 1; k + 1 < n; ++k) slope[k] = ecg[k + 1] - ecg[k - 1];
  zero_outside_full_windows(feature, v);
  zero_outside_full_windows(slopeRange, v);
  const auto half = static_cast<std::size_t>(v);
  sliding_range_centred(ecg, half, feature);
  sliding_range_centred(slope, half, slopeRange);
  for (std::size_t k = 0; k < n; ++k) feature[k] = feature[k] * feature[k] * slopeRange[k];
}

// The envelope's ends repeat its first and last full-window values (all 0
// without one). The cube of the noise level is the library power function's:
// a fast pass decides every sample but the near-ties, which take the power.
std::vector<unsigned char> above_threshold(std::span<const double> feature, std::span<const double> noiseSd,
                                           double fs, std::span<double> env, std::span<double> trend) {
  const std::ptrdiff_t u = samples_floor(kEnvelopeHalfWindowSeconds * fs);
  zero_outside_full_windows(env, u);
  sliding_max_centred(feature, static_cast<std::size_t>(u), env);
  hold_ends_at_first_full_window(env, u);
  smooth_moving_average(env, trend, kTrendSmoothSeconds * fs);
  hold_trend_ends(trend, fs);

  std::vector<unsigned char> mask(env.size());
  mark_clear_crossings(env.data(), noiseSd.data(), trend.data(), env.size(), kNoiseCubeWeight, kTrendWeight,
                       mask.data());
  // Undecided samples are rare; the library's byte search finds them.
  const auto end = mask.end();
  for (auto at = std::find(mask.begin(), end, kUndecidedCrossing); at != end;
       at = std::find(at + 1, end, kUndecidedCrossing)) {
    const auto k = static_cast<std::size_t>(at - mask.begin());
    *at = env[k] > kNoiseCubeWeight * pow_snf(noiseSd[k], 3.0) + kTrendWeight * trend[k] ? 1 : 0;
  }
  return mask;
}

}  // namespace zyn::beats
