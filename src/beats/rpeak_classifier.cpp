// R-peak detection and beat classification of one ECG segment.
//
// Input: a single-lead ECG in any amplitude unit, sampled at fs Hz; every
// window below is a duration in seconds turned into samples from fs. The
// detector removes the baseline, forms a QRS energy feature (amplitude range
// squared times slope range over +-0.05 s), compares its +-0.1 s envelope with
// an adaptive threshold (three times the cubed local noise level plus half
// the 3-second trend of the envelope), rejects noisy or flat candidate
// segments, chooses one R peak per segment, then correlates every beat with a
// template beat to split the beats into two morphology classes and looks back
// for beats missed in long gaps. Output: ascending 1-based R-peak positions
// with a class label each, label 1 for the class holding at least half the
// beats.
#include "beats/rpeak_classifier.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "beats/signal_kernels.hpp"
#include "beats/template_beat.hpp"
#include "runtime/emx.hpp"
#include "runtime/sample_pool.hpp"
#include "runtime/scalar.hpp"
#include "runtime/simd.hpp"
#include "toolbox/reductions.hpp"
#include "toolbox/sets.hpp"
#include "toolbox/stats.hpp"
#include "zynecgsolver/beats.h"

namespace zyn::beats {
namespace {

constexpr double kMinusInf = -std::numeric_limits<double>::infinity();

// Phase constants (seconds unless stated).
constexpr double kBaselineSpanDivisor = 5.0;   // fs / 5 samples: 0.2 s
constexpr double kNoiseHalfWindowSeconds = 0.2;
constexpr double kRangeHalfWindowSeconds = 0.05;
constexpr double kEnvelopeHalfWindowSeconds = 0.1;
constexpr double kTrendSmoothSeconds = 3.0;
constexpr double kNoiseCubeWeight = 3.0;
constexpr double kTrendWeight = 0.5;
constexpr double kContextSeconds = 2.0;
constexpr double kCrossingSpanDivisor = 50.0;  // fs / 50 + 1 samples: 0.02 s
constexpr double kNoisyCrossingRate = 0.3;
constexpr double kNoiseMaxKurtosis = 4.0;
constexpr std::size_t kMinDistinctInContext = 30;
constexpr double kMinSegmentSeconds = 0.15;
constexpr double kFallWeight = 1.9;
constexpr double kBeatHalfWindowSeconds = 0.08;
constexpr std::size_t kMinDistinctInSignal = 70;
constexpr double kCorrelationLimit = 0.7;
constexpr double kPrematureCorrelationLimit = 0.8;
constexpr double kPrematureFractionOfRr = 0.7;
constexpr double kMinRrSeconds = 0.24;
constexpr std::ptrdiff_t kClassRefineHalf = 8;     // 17-sample refinement
constexpr std::ptrdiff_t kLookBackRefineHalf = 10;  // 21-sample refinement
constexpr double kGapRatio = 1.8;
constexpr double kMinGapSeconds = 0.48;
constexpr double kLookBackCorrelation = 0.6;
constexpr double kLookBackAmplitudeTolerance = 0.8;
constexpr int kMaxLookBackPasses = 4;
constexpr double kLookBackRangeOfTemplate = 1.6;
// Segment contexts whose sums advance side by side.
constexpr std::size_t kContextsSideBySide = 4;

// floor(v) as a sample count; non-positive or NaN gives 0, huge values are
// capped far beyond any signal length.
std::ptrdiff_t samples_floor(double v) {
  if (!(v > 0.0)) return 0;
  if (v > 1e15) return static_cast<std::ptrdiff_t>(1e15);
  return static_cast<std::ptrdiff_t>(std::floor(v));
}

// 1-based view of a vector, the indexing of the detector's description.
struct OneBased {
  std::span<const double> v;
  double operator()(std::ptrdiff_t i) const { return v[static_cast<std::size_t>(i - 1)]; }
  std::span<const double> range(std::ptrdiff_t from, std::ptrdiff_t to) const {
    if (to < from) return {};
    return v.subspan(static_cast<std::size_t>(from - 1), static_cast<std::size_t>(to - from + 1));
  }
};


// Sample covariance terms of x with itself after removing its mean.
struct Centred {
  std::vector<double> values;
  double sumSquares = 0.0;
};
Centred centre(std::span<const double> x) {
  Centred c;
  const double mean = sum(x) / static_cast<double>(x.size());
  c.values.resize(x.size());
  for (std::size_t k = 0; k < x.size(); ++k) c.values[k] = x[k] - mean;
  for (double v : c.values) c.sumSquares += v * v;
  return c;
}

// Correlation coefficient of the template (already centred) with y, through
// the sample covariance matrix, unclamped (constant y gives NaN).
double correlate_with(const Centred& tmpl, std::span<const double> y) {
  const std::size_t n = y.size();
  if (n != tmpl.values.size()) return std::numeric_limits<double>::quiet_NaN();
  const double nm1 = static_cast<double>(n) - 1.0;
  if (n == 1) return std::numeric_limits<double>::quiet_NaN();  // zero covariance over zero spread
  const double mean = sum(y) / static_cast<double>(n);
  double syy = 0.0, sxy = 0.0;
  for (std::size_t k = 0; k < n; ++k) {
    const double c = y[k] - mean;
    syy += c * c;
    sxy += tmpl.values[k] * c;
  }
  const double cxx = tmpl.sumSquares / nm1;
  const double cyy = syy / nm1;
  const double cxy = sxy / nm1;
  return cxy / (std::sqrt(cyy) * std::sqrt(cxx));
}

// correlate_with for the windows centred on count consecutive samples, the
// first centred on 0-based index first of x; out[u] for centre first + u.
// Eight windows are worked on together, one to a vector lane: each lane
// keeps its own sums, added in sample order as above (a vector addition is
// the scalar addition in every lane), so the results are the same, but the
// independent sums run side by side instead of one after another.
constexpr std::size_t kLanesPerRun = 8;  // the lanes of EightDoubles
// Up to this many groups of eight windows advance together: one group's sums
// are a chain of dependent additions, and several chains keep the adders busy.
constexpr std::size_t kMaxGroupsSideBySide = 4;

// A division by a power of two and the multiplication by its reciprocal
// round the same exact quotient, so they give the same bits; the
// multiplication is far cheaper. With h = 0.08 s at 200 Hz the covariance
// divisor 2h is 32.
bool is_power_of_two(double d) {
  int exponent = 0;
  return d > 0.0 && std::frexp(d, &exponent) == 0.5;
}

// The correlations of the 8 * Groups windows of n samples starting at y,
// y + 1, ... into out (lane l of group g holds the window starting at
// y + 8g + l). DivisorIsPowerOfTwo: n - 1 is a power of two (see above).
template <std::size_t Groups, bool DivisorIsPowerOfTwo>
[[gnu::always_inline]] inline void correlate_groups(const Centred& tmpl, const double* y, std::size_t n, double cxx,
                                                    double* out) {
  const double nm1 = static_cast<double>(n) - 1.0;
  const double inverse = 1.0 / nm1;
  const auto per_degree_of_freedom = [nm1, inverse](double v) {
    if constexpr (DivisorIsPowerOfTwo) {
      return v * inverse;
    } else {
      return v / nm1;
    }
  };
  const auto load_samples = [y](std::size_t g, std::size_t k, EightDoubles& v) {
    load_eight(y + g * kLanesPerRun + k, v);
  };
  EightDoubles s[Groups], mean[Groups], syy[Groups], sxy[Groups], v;
  for (std::size_t g = 0; g < Groups; ++g) load_samples(g, 0, s[g]);
  for (std::size_t k = 1; k < n; ++k) {
    for (std::size_t g = 0; g < Groups; ++g) {
      load_samples(g, k, v);
      s[g] += v;
    }
  }
  for (std::size_t g = 0; g < Groups; ++g) {
    mean[g] = s[g] / static_cast<double>(n);
    syy[g] = EightDoubles{};
    sxy[g] = EightDoubles{};
  }
  for (std::size_t k = 0; k < n; ++k) {
    const double t = tmpl.values[k];
    for (std::size_t g = 0; g < Groups; ++g) {
      load_samples(g, k, v);
      const EightDoubles c = v - mean[g];
      syy[g] += c * c;
      sxy[g] += t * c;
    }
  }
  for (std::size_t g = 0; g < Groups; ++g) {
    for (std::size_t l = 0; l < kLanesPerRun; ++l) {
      out[g * kLanesPerRun + l] =
          per_degree_of_freedom(sxy[g][l]) / (std::sqrt(per_degree_of_freedom(syy[g][l])) * std::sqrt(cxx));
    }
  }
}

template <bool DivisorIsPowerOfTwo>
[[gnu::always_inline]] inline void correlate_up_to_four_groups(std::size_t groups, const Centred& tmpl,
                                                               const double* y, std::size_t n, double cxx,
                                                               double* out) {
  static_assert(kMaxGroupsSideBySide == 4);
  switch (groups) {
    case 1: correlate_groups<1, DivisorIsPowerOfTwo>(tmpl, y, n, cxx, out); break;
    case 2: correlate_groups<2, DivisorIsPowerOfTwo>(tmpl, y, n, cxx, out); break;
    case 3: correlate_groups<3, DivisorIsPowerOfTwo>(tmpl, y, n, cxx, out); break;
    default: correlate_groups<4, DivisorIsPowerOfTwo>(tmpl, y, n, cxx, out); break;
  }
}

ZYN_WIDEST_VECTORS void correlate_run(const Centred& tmpl, std::span<const double> x, std::size_t first,
                                      std::size_t count, std::size_t h, std::span<double> out) {
  const std::size_t n = 2 * h + 1;
  if (n != tmpl.values.size() || n < 2) {
    for (std::size_t u = 0; u < count; ++u) out[u] = correlate_with(tmpl, x.subspan(first + u - h, n));
    return;
  }
  const double cxx = tmpl.sumSquares / (static_cast<double>(n) - 1.0);
  const bool powerOfTwo = is_power_of_two(static_cast<double>(n) - 1.0);
  double results[kLanesPerRun * kMaxGroupsSideBySide];
  std::size_t u = 0;
  while (u < count) {
    // A last group may run past count (its extra windows are dropped) as
    // long as its windows stay inside x; otherwise whole groups only, and the
    // rest one window at a time.
    std::size_t groups = std::min(kMaxGroupsSideBySide, (count - u + kLanesPerRun - 1) / kLanesPerRun);
    if (first + u + groups * kLanesPerRun - 1 + h >= x.size()) groups = (count - u) / kLanesPerRun;
    if (groups == 0) break;
    const double* y = x.data() + first + u - h;
    if (powerOfTwo) {
      correlate_up_to_four_groups<true>(groups, tmpl, y, n, cxx, results);
    } else {
      correlate_up_to_four_groups<false>(groups, tmpl, y, n, cxx, results);
    }
    const std::size_t done = std::min(groups * kLanesPerRun, count - u);
    std::copy_n(results, done, out.begin() + static_cast<std::ptrdiff_t>(u));
    u += done;
  }
  for (; u < count; ++u) out[u] = correlate_with(tmpl, x.subspan(first + u - h, n));
}

double kurtosis_of(std::span<const double> x) {
  std::vector<double> centred(x.begin(), x.end());  // the kurtosis centres its input
  return kurtosis(centred);
}

// Highest "rise then non-rise" maximum of the 2 * half + 1 samples of raw
// centred on p (1-based); returns p + offset of the winner, or -inf when
// there is none or the window leaves the signal.
double refine_on_local_maximum(OneBased raw, std::ptrdiff_t n, double p, std::ptrdiff_t half) {
  if (!(p - static_cast<double>(half) >= 1.0) || !(p + static_cast<double>(half) <= static_cast<double>(n))) {
    return kMinusInf;
  }
  const auto centreAt = static_cast<std::ptrdiff_t>(p);
  const LocalPeak peak = find_local_peak(raw.range(centreAt - half, centreAt + half));
  if (is_inf(peak.place)) return kMinusInf;
  return p + peak.place - static_cast<double>(half + 1);
}

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
void hold_ends_at_first_full_window(std::vector<double>& v, std::ptrdiff_t w) {
  const auto n = static_cast<std::ptrdiff_t>(v.size());
  if (n < 2 * w + 1) return;
  const double head = v[static_cast<std::size_t>(w)];
  const double tail = v[static_cast<std::size_t>(n - w - 1)];
  std::fill_n(v.begin(), w, head);
  std::fill(v.end() - w, v.end(), tail);
}

// Standard deviations sqrt((q - s^2 / width) / dof) of count windows from
// their running sums s and sums of squares q; independent per window.
ZYN_WIDEST_VECTORS void sd_from_sums(const double* s, const double* q, std::size_t count, double width, double dof,
                                     double* sd) {
  for (std::size_t j = 0; j < count; ++j) sd[j] = std::sqrt((q[j] - s[j] * s[j] / width) / dof);
}

// Phase 2: running sample standard deviation over +-w samples from
// incremental sums (never recomputed, so their rounding drift is kept). The
// sums are a serial chain; they are taken in blocks and the divisions and
// roots of a block then run side by side. sd holds one entry per sample;
// without a full window it is all zero.
void running_noise_sd(std::span<const double> ecg, std::ptrdiff_t w, std::vector<double>& sd) {
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
    sd_from_sums(sums, squares, static_cast<std::size_t>(count), width, dof, &sd[static_cast<std::size_t>(first - 1)]);
  }
  hold_ends_at_first_full_window(sd, w);
}

// Phase 3 ranges over +-v samples (0 where the window leaves the signal):
// of the corrected signal into amplitudeRange, and of its slope
// x[k + 1] - x[k - 1] (0 at both ends, kept in slope) into slopeRange.
void qrs_ranges(std::span<const double> ecg, std::ptrdiff_t v, std::vector<double>& slope,
                std::vector<double>& amplitudeRange, std::vector<double>& slopeRange) {
  const std::size_t n = ecg.size();
  slope.front() = slope.back() = 0.0;
  for (std::size_t k = 1; k + 1 < n; ++k) slope[k] = ecg[k + 1] - ecg[k - 1];
  zero_outside_full_windows(amplitudeRange, v);
  zero_outside_full_windows(slopeRange, v);
  const auto half = static_cast<std::size_t>(v);
  sliding_range_centred(ecg, half, amplitudeRange);
  sliding_range_centred(slope, half, slopeRange);
}

// Phase 3: the QRS feature, amplitude range squared times slope range, into
// feature, which holds the amplitude range.
void weight_by_slope_range(std::vector<double>& feature, std::span<const double> slopeRange) {
  for (std::size_t k = 0; k < feature.size(); ++k) feature[k] = feature[k] * feature[k] * slopeRange[k];
}

// Phase 4: +-u moving maximum of the feature into env (one per sample); its
// ends repeat the first and last full-window values (all 0 without one).
void feature_envelope(std::span<const double> feature, std::ptrdiff_t u, std::vector<double>& env) {
  zero_outside_full_windows(env, u);
  sliding_max_centred(feature, static_cast<std::size_t>(u), env);
  hold_ends_at_first_full_window(env, u);
}

// Phase 4: the 3-second trend of the envelope into trend (one per sample),
// its first and last second held at the values one second in.
void envelope_trend(const std::vector<double>& env, double fs, std::vector<double>& trend) {
  smooth_moving_average(env, trend, kTrendSmoothSeconds * fs);
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

// Phase 4 step 3: envelope > 3 noiseSd^3 + 0.5 trend, the cube taken by the
// library power function. The cube as two products differs from it by a few
// units in the last place at most, so it settles every comparison that is not
// within a relative 1e-12 of equality (and not NaN): those are marked
// undecided in a first pass that runs across vector lanes, and only they take
// the slower power call. The mask is the same as with the power function
// everywhere.
constexpr unsigned char kUndecided = 2;

ZYN_WIDEST_VECTORS void mark_clear_crossings(const double* env, const double* noiseSd, const double* trend,
                                             std::size_t n, unsigned char* mask) {
  for (std::size_t k = 0; k < n; ++k) {
    const double cube = noiseSd[k] * noiseSd[k] * noiseSd[k];
    const double approx = kNoiseCubeWeight * cube + kTrendWeight * trend[k];
    const double margin = 1e-12 * (std::fabs(kNoiseCubeWeight * cube) + std::fabs(kTrendWeight * trend[k]));
    // A non-negative margin makes the two exclusive: 1 above, 0 below, 2 neither.
    const int above = env[k] > approx + margin;
    const int below = env[k] < approx - margin;
    mask[k] = static_cast<unsigned char>(kUndecided - 2 * below - above);
  }
}

std::vector<unsigned char> detection_mask(const std::vector<double>& env, const std::vector<double>& noiseSd,
                                          const std::vector<double>& trend) {
  std::vector<unsigned char> mask(env.size());
  mark_clear_crossings(env.data(), noiseSd.data(), trend.data(), env.size(), mask.data());
  // Undecided samples are rare; the library's byte search finds them.
  const auto end = mask.end();
  for (auto at = std::find(mask.begin(), end, kUndecided); at != end; at = std::find(at + 1, end, kUndecided)) {
    const auto k = static_cast<std::size_t>(at - mask.begin());
    *at = env[k] > kNoiseCubeWeight * pow_snf(noiseSd[k], 3.0) + kTrendWeight * trend[k] ? 1 : 0;
  }
  return mask;
}

struct Segments {
  std::vector<std::ptrdiff_t> start, end;  // 1-based, inclusive
  std::vector<double> peak;                // chosen R position, 0 for none
};

// Phase 5: runs of the detection mask. A start is the last sample below the
// threshold before a rise, an end the last sample above it.
Segments candidate_segments(const std::vector<unsigned char>& mask) {
  const auto n = static_cast<std::ptrdiff_t>(mask.size());
  Segments seg;
  const auto note_change_at = [&](std::ptrdiff_t j) {
    const int d = static_cast<int>(mask[static_cast<std::size_t>(j)]) -
                  static_cast<int>(mask[static_cast<std::size_t>(j - 1)]);
    if (d == 1) seg.start.push_back(j);
    if (d == -1) seg.end.push_back(j);
  };
  // Eight samples are compared with their predecessors at once: most such
  // runs hold no change (a beat changes the mask twice in about 160 samples),
  // and in the others the differing bytes point at the changes.
  constexpr std::ptrdiff_t kRun = sizeof(uint64_t);
  std::ptrdiff_t j = 1;
  for (; j + kRun <= n; j += kRun) {
    uint64_t here, before;
    std::memcpy(&here, mask.data() + j, sizeof here);
    std::memcpy(&before, mask.data() + j - 1, sizeof before);
    uint64_t differing = here ^ before;
    // The run's first sample in the lowest byte, whatever the byte order.
    if constexpr (std::endian::native == std::endian::big) differing = __builtin_bswap64(differing);
    while (differing != 0) {
      const int bit = std::countr_zero(differing);
      note_change_at(j + bit / 8);
      differing &= ~(uint64_t{0xFF} << (bit & ~7));
    }
  }
  for (; j < n; ++j) note_change_at(j);
  if (!seg.start.empty() && !seg.end.empty()) {
    if (seg.end.front() < seg.start.front()) seg.start.insert(seg.start.begin(), 1);
    if (seg.end.back() < seg.start.back()) seg.end.push_back(n);
    if (seg.start.front() <= 0) seg.start.front() = 1;
    if (seg.end.back() > n) seg.end.back() = n;
  }
  const std::size_t m = std::min(seg.start.size(), seg.end.size());
  seg.start.resize(m);
  seg.end.resize(m);
  seg.peak.assign(m, 0.0);
  return seg;
}

// Sign steps of x - mean over consecutive samples, as -1, 0, +1 (0 for an
// exact zero or NaN); each crossing counts 2. Integer counting is exact in
// any order, so the loop runs across vector lanes.
ZYN_WIDEST_VECTORS int64_t sign_steps_about(std::span<const double> x, double mean) {
  int64_t changes = 0;
  for (std::size_t k = 1; k < x.size(); ++k) {
    const int64_t previous = static_cast<int64_t>(x[k - 1] > mean) - static_cast<int64_t>(x[k - 1] < mean);
    const int64_t current = static_cast<int64_t>(x[k] > mean) - static_cast<int64_t>(x[k] < mean);
    const int64_t step = current - previous;
    changes += step < 0 ? -step : step;
  }
  return changes;
}

// Phase 6 step 2: the crossing rate is the count of sign changes per sample
// of the lightly smoothed, mean-free context (each crossing counts 2). The
// light smoothing sums its few samples directly, so inside the context it
// equals the smoothing of the whole signal (smoothedContext, when given);
// only the samples whose window the context clips are recomputed. The
// smoothed context is then three consecutive pieces: the recomputed head,
// the whole signal's smoothing read in place (a context is about 4 s, and
// copying every one of them cost as much as their sums), and the recomputed
// tail. Recomputed samples go to `work`, scratch space reused across calls.
// The first piece is never empty.
using ContextPieces = std::array<std::span<const double>, 3>;

ContextPieces smooth_context(std::span<const double> context, std::span<const double> smoothedContext, double fs,
                             std::vector<double>& work) {
  const std::size_t len = context.size();
  const std::size_t half = smoothing_half_width(fs / kCrossingSpanDivisor + 1.0);
  if (!smoothedContext.empty() && half >= 1 && half <= kDirectSumHalfWidth && len >= 2) {
    const std::size_t head = std::min(half, len);
    const std::size_t tail = std::max(head, len - head);  // where the recomputed tail starts
    work.resize(head + len - tail);
    for (std::size_t k = 0; k < head; ++k) work[k] = smoothed_sample(context, k, half);
    for (std::size_t k = tail; k < len; ++k) work[head + k - tail] = smoothed_sample(context, k, half);
    const std::span<const double> recomputed(work);
    return {recomputed.first(head), smoothedContext.subspan(head, tail - head), recomputed.subspan(head)};
  }
  smooth_into(context, work, fs / kCrossingSpanDivisor + 1.0);
  return {std::span<const double>(work), {}, {}};
}

std::size_t size_of(const ContextPieces& pieces) {
  return pieces[0].size() + pieces[1].size() + pieces[2].size();
}

// sign_steps_about over the pieces as one sequence: the steps inside each
// piece and those across the joins.
int64_t sign_steps_across(const ContextPieces& pieces, double mean) {
  int64_t steps = 0;
  const double* before = nullptr;  // the last sample of the pieces so far
  for (const std::span<const double> piece : pieces) {
    if (piece.empty()) continue;
    if (before != nullptr) {
      const std::array<double, 2> join = {*before, piece.front()};
      steps += sign_steps_about(join, mean);
    }
    steps += sign_steps_about(piece, mean);
    before = &piece.back();
  }
  return steps;
}

// The rate from the smoothed context and the sum of its samples (in sample
// order, from the first sample).
double crossing_rate(const ContextPieces& smoothed, double total) {
  const auto len = static_cast<double>(size_of(smoothed));
  const double mean = total / len;
  return static_cast<double>(sign_steps_across(smoothed, mean)) / (len - 1.0);
}

// Sums of Count series, each in its own order from its first element (the
// first piece is never empty). A sum is a serial chain of additions; the
// Count chains advance side by side through the middle pieces, so the
// processor overlaps them instead of waiting on each addition in turn.
template <std::size_t Count>
std::array<double, Count> ordered_sums(const std::array<ContextPieces, Count>& xs) {
  std::array<double, Count> totals{};
  const auto add_in_turn = [&totals](std::size_t r, std::span<const double> piece) {
    for (double v : piece) totals[r] += v;
  };
  std::size_t common = std::numeric_limits<std::size_t>::max();
  for (std::size_t r = 0; r < Count; ++r) {
    totals[r] = xs[r][0][0];
    add_in_turn(r, xs[r][0].subspan(1));
    common = std::min(common, xs[r][1].size());
  }
  for (std::size_t k = 0; k < common; ++k) {
    for (std::size_t r = 0; r < Count; ++r) totals[r] += xs[r][1][k];
  }
  for (std::size_t r = 0; r < Count; ++r) {
    add_in_turn(r, xs[r][1].subspan(common));
    add_in_turn(r, xs[r][2]);
  }
  return totals;
}

// Phase 6 step 6 turning points: code[k] = kMaximumCode where y rises into k
// and does not rise after it, kMinimumCode where y does not rise into k and
// rises after it, 0 elsewhere (and at both ends). Each sample is coded from
// its neighbours alone, so the loop runs across vector lanes.
constexpr unsigned char kMaximumCode = 1;
constexpr unsigned char kMinimumCode = 2;

ZYN_WIDEST_VECTORS void code_turning_points(const double* y, std::size_t n, unsigned char* code) {
  for (std::size_t k = 1; k + 1 < n; ++k) {
    const int isMaximum = (y[k] > y[k - 1]) & (y[k + 1] <= y[k]);
    const int isMinimum = (y[k] <= y[k - 1]) & (y[k] < y[k + 1]);
    code[k] = static_cast<unsigned char>(isMaximum * kMaximumCode + isMinimum * kMinimumCode);
  }
}

}  // namespace

// Each maximum is scored against the last minimum before it (since the
// previous maximum; the first sample when there is none) and the last minimum
// between it and the next maximum (the last sample after the last maximum;
// a maximum with no such minimum is not scored). The turning points are coded
// across vector lanes and listed without branches, and only they are visited:
// in a noisy segment a branch per sample would be mispredicted about as often
// as not.
std::ptrdiff_t best_scored_maximum(std::span<const double> y, TurningPointScratch& scratch) {
  const std::size_t len = y.size();
  if (len < 3) return 0;
  scratch.code.resize(len);
  scratch.places.resize(len);
  code_turning_points(y.data(), len, scratch.code.data());
  std::size_t count = 0;
  for (std::size_t k = 1; k + 1 < len; ++k) {
    scratch.places[count] = k;
    count += scratch.code[k] != 0;
  }
  constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();
  double best = kMinusInf;
  std::ptrdiff_t winner = 0;
  std::size_t top = kNone, before = kNone, lastMinimum = kNone;
  const auto score_top = [&](std::size_t after) {
    const double peak = y[top];
    const double score = (peak - y[before == kNone ? 0 : before]) + kFallWeight * (peak - y[after]);
    if (score > best) {
      best = score;
      winner = static_cast<std::ptrdiff_t>(top) + 1;
    }
  };
  for (std::size_t e = 0; e < count; ++e) {
    const std::size_t k = scratch.places[e];
    if (scratch.code[k] == kMinimumCode) {
      lastMinimum = k;
      continue;
    }
    if (top != kNone && lastMinimum != kNone) score_top(lastMinimum);
    top = k;
    before = lastMinimum;
    lastMinimum = kNone;
  }
  if (top != kNone) score_top(lastMinimum == kNone ? len - 1 : lastMinimum);
  return winner;
}

namespace {

// Phase 6 step 2 ahead of the segments: the light smoothing of the whole
// corrected signal, whose stretches stand for the smoothed contexts when the
// smoothing sums its few samples directly (left empty otherwise).
bool crossings_smooth_directly(double fs) {
  return smoothing_half_width(fs / kCrossingSpanDivisor + 1.0) <= kDirectSumHalfWidth;
}
void smooth_for_crossings(std::span<const double> ecg, double fs, std::vector<double>& smoothedWhole) {
  if (!crossings_smooth_directly(fs)) return;
  smooth_into(ecg, smoothedWhole, fs / kCrossingSpanDivisor + 1.0);
}

// Phase 6: noise test, flatness test, short-segment widening and peak choice.
void choose_segment_peaks(Segments& seg, std::span<const double> ecg, std::span<const double> raw,
                          std::span<const double> smoothedWhole, double fs) {
  const auto n = static_cast<std::ptrdiff_t>(ecg.size());
  const std::ptrdiff_t context = samples_floor(kContextSeconds * fs);
  const OneBased x{ecg}, r{raw}, smoothed{smoothedWhole};
  const auto context_of = [&](std::size_t i) {
    return std::pair{std::max<std::ptrdiff_t>(1, seg.start[i] - context), std::min(n, seg.end[i] + context)};
  };
  // The tests of one segment, given the crossing rate of its context.
  const auto choose_peak_of = [&](std::size_t i, double rate, TurningPointScratch& turningPoints) {
    const auto [a, b] = context_of(i);
    if (b < a) return;
    if (rate >= kNoisyCrossingRate && !(kurtosis_of(x.range(a, b)) > kNoiseMaxKurtosis)) return;
    if (count_distinct_up_to(r.range(a, b), kMinDistinctInContext + 1) <= kMinDistinctInContext) return;
    if (static_cast<double>(seg.end[i] - seg.start[i]) < kMinSegmentSeconds * fs) {
      // Widened for the record, but left without a peak in this pass.
      const double widened = std::floor(static_cast<double>(seg.start[i]) + kMinSegmentSeconds * fs);
      seg.end[i] = static_cast<std::ptrdiff_t>(std::min(static_cast<double>(n), widened));
      return;
    }
    const std::ptrdiff_t place = best_scored_maximum(r.range(seg.start[i], seg.end[i]), turningPoints);
    if (place > 0) seg.peak[i] = static_cast<double>(place - 1 + seg.start[i]);
  };
  // The crossing rates of a few neighbouring segments are worked out
  // together (their context sums side by side) before the tests decide
  // segment by segment.
  const auto choose_in = [&](std::size_t first, std::size_t past) {
    std::array<std::vector<double>, kContextsSideBySide> work;
    TurningPointScratch turningPoints;
    for (std::size_t group = first; group < past; group += kContextsSideBySide) {
      std::array<ContextPieces, kContextsSideBySide> smoothedContexts{};
      for (std::size_t lane = 0; lane < kContextsSideBySide; ++lane) {
        const std::size_t i = std::min(group + lane, past - 1);  // a short last group repeats its last segment
        const auto [a, b] = context_of(i);
        if (b < a) {
          work[lane].assign(1, 0.0);  // no context, no tests: a stand-in is summed
          smoothedContexts[lane] = {std::span<const double>(work[lane]), {}, {}};
        } else {
          smoothedContexts[lane] = smooth_context(
              x.range(a, b), smoothedWhole.empty() ? std::span<const double>{} : smoothed.range(a, b), fs, work[lane]);
        }
      }
      const auto totals = ordered_sums(smoothedContexts);
      for (std::size_t i = group; i < std::min(past, group + kContextsSideBySide); ++i) {
        choose_peak_of(i, crossing_rate(smoothedContexts[i - group], totals[i - group]), turningPoints);
      }
    }
  };
  choose_in(0, seg.start.size());
}

// Phase 7: keep the segments that received a peak.
void keep_segments_with_peaks(Segments& seg) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < seg.peak.size(); ++i) {
    if (seg.peak[i] > 0.0) {
      seg.start[kept] = seg.start[i];
      seg.end[kept] = seg.end[i];
      seg.peak[kept] = seg.peak[i];
      ++kept;
    }
  }
  seg.start.resize(kept);
  seg.end.resize(kept);
  seg.peak.resize(kept);
}

// Phase 8: one row of 2h + 1 median-free samples around each peak (zero when
// the window leaves the signal), stored beat by beat.
std::vector<std::vector<double>> beat_matrix(const Segments& seg, std::span<const double> ecg, std::ptrdiff_t h) {
  const auto n = static_cast<std::ptrdiff_t>(ecg.size());
  const auto width = static_cast<std::size_t>(2 * h + 1);
  std::vector<std::vector<double>> rows(seg.peak.size());
  const auto fill_rows = [&](std::size_t first, std::size_t past) {
    std::vector<std::size_t> beats, starts;
    for (std::size_t i = first; i < past; ++i) {
      rows[i].assign(width, 0.0);
      const auto p = static_cast<std::ptrdiff_t>(seg.peak[i]);
      if (!(p - h > 0 && p + h <= n)) continue;
      beats.push_back(i);
      starts.push_back(static_cast<std::size_t>(p - h - 1));
    }
    std::vector<double> medians(beats.size());
    window_medians(ecg, starts, width, medians);
    for (std::size_t j = 0; j < beats.size(); ++j) {
      const auto window = ecg.subspan(starts[j], width);
      std::vector<double>& row = rows[beats[j]];
      for (std::size_t k = 0; k < width; ++k) row[k] = window[k] - medians[j];
    }
  };
  fill_rows(0, seg.peak.size());
  return rows;
}

// Phase 9 steps 2 and 3: correlation of each segment with the template,
// premature-beat rule and class split; class-1 peaks refined on the raw signal.
Classes classify_beats(const Segments& seg, const Centred& tmpl, std::span<const double> ecg,
                       std::span<const double> raw, double fs, std::ptrdiff_t h) {
  const auto n = static_cast<std::ptrdiff_t>(ecg.size());
  const OneBased r{raw};
  std::ptrdiff_t longest = 0;
  for (std::size_t i = 0; i < seg.start.size(); ++i) longest = std::max(longest, seg.end[i] - seg.start[i] + 1);
  const auto bufferLength = static_cast<std::size_t>(std::max(longest, 4 * h + 1));
  // A segment reaching within h samples of either end stays unclassified.
  const auto reaches_end = [&](std::size_t i) {
    return seg.end[i] >= seg.start[i] && (seg.start[i] - h <= 0 || seg.end[i] + h >= n);
  };

  // The best template match of each segment depends on that segment alone;
  // the decisions, which depend on the beats accepted before, follow in
  // order.
  std::vector<LocalPeak> matches(seg.start.size());
  {
    std::vector<double> buffer(bufferLength);
    for (std::size_t i = 0; i < seg.start.size(); ++i) {
      if (reaches_end(i)) continue;
      std::fill(buffer.begin(), buffer.end(), 0.0);
      if (seg.end[i] >= seg.start[i]) {
        correlate_run(tmpl, ecg, static_cast<std::size_t>(seg.start[i] - 1),
                      static_cast<std::size_t>(seg.end[i] - seg.start[i] + 1), static_cast<std::size_t>(h), buffer);
      }
      matches[i] = find_local_peak(buffer);
    }
  }

  Classes out;
  double lastNormal = 0.0;
  double rr = 0.0;
  for (std::size_t i = 0; i < seg.start.size(); ++i) {
    if (reaches_end(i)) continue;
    const LocalPeak best = matches[i];
    const double p = best.place - 1.0 + static_cast<double>(seg.start[i]);
    const bool haveRr = rr != 0.0;
    const double limit =
        haveRr && p - lastNormal < kPrematureFractionOfRr * rr ? kPrematureCorrelationLimit : kCorrelationLimit;
    if (!(best.value > limit) || (haveRr && p - lastNormal <= kMinRrSeconds * fs)) {
      out.other.push_back(seg.peak[i]);
      continue;
    }
    const double refined = refine_on_local_maximum(r, n, p, kClassRefineHalf);
    if (refined > static_cast<double>(h)) {
      if (!out.normal.empty()) rr = refined - lastNormal;
      out.normal.push_back(refined);
      lastNormal = refined;
    }
  }
  return out;
}

// The distinct positive positions of both classes in ascending order. Each
// class list is usually in order already (beats are found and inserted in
// position order), and then the two are merged rather than sorted anew.
std::vector<double> sorted_positive_union(const Classes& c) {
  std::vector<double> all;
  for (double v : c.normal) if (v > 0.0) all.push_back(v);
  const auto others = static_cast<std::ptrdiff_t>(all.size());
  for (double v : c.other) if (v > 0.0) all.push_back(v);
  const auto middle = all.begin() + others;
  if (std::is_sorted(all.begin(), middle) && std::is_sorted(middle, all.end())) {
    std::inplace_merge(all.begin(), middle, all.end());
  } else {
    std::sort(all.begin(), all.end());
  }
  all.erase(std::unique(all.begin(), all.end()), all.end());
  return all;
}

// Phase 9 step 4: look-back search in long gaps.
//
// The missed beat is expected one previous RR interval after the gap starts.
// Around that place (+-2h samples, 2h = 0.16 s) the template is slid along
// the baseline-corrected signal exactly as in the classification (the
// template's 2h + 1 samples against the 2h + 1 samples centred on each lag),
// so a beat found here passes the same morphology test as the others. (On the
// MIT-BIH arrhythmia recordings the median-centred raw signal found about 27
// more true beats but let about 37 more false ones in: baseline wander makes
// T waves look like the template.)
//
// Relative amplitude: the height of the signal at the lag above the mean of
// its compared stretch, divided by 1.6 times the template's peak-to-peak
// amplitude. The acceptance band (0.2 to 1.8 of that range) then starts at
// about half the template's own R height above its mean: a T wave, a P wave
// or a noise bump that happens to correlate stays out, a beat of the
// template's size or larger gets in. With the plain peak-to-peak range about
// 120 more false beats (T waves and noise, mostly in atrial fibrillation with
// long RR intervals) came in for about 30 more true ones; of the factors
// tried (1, 1.3, 1.6, 2, 2.5, 3), 1.6 gave the fewest missed plus false beats.
//
// A found beat is inserted into the class-1 list in position order (the
// output is sorted anyway; the order keeps the list ready for the next pass)
// and the pass is repeated, at most four times, so that a gap of several
// missed beats is filled one beat per pass; a pass that adds nothing new ends
// it.
bool look_back_once(Classes& classes, const Centred& tmpl, const std::vector<double>& tmplRow,
                    std::span<const double> ecg, std::span<const double> raw, double fs, std::ptrdiff_t h) {
  const std::vector<double> p = sorted_positive_union(classes);
  if (p.size() < 2) return false;
  const auto n = static_cast<std::ptrdiff_t>(ecg.size());
  const OneBased x{ecg}, r{raw};
  double tmplHi = tmplRow[0], tmplLo = tmplRow[0];
  for (double v : tmplRow) {
    tmplHi = tmplHi > v ? tmplHi : v;
    tmplLo = tmplLo < v ? tmplLo : v;
  }
  const double amplitudeRange = kLookBackRangeOfTemplate * (tmplHi - tmplLo);
  const std::size_t lags = static_cast<std::size_t>(4 * h);

  // The beat found in the gap after p[j], or 0 for none. It depends on the
  // positions of the pass's start only; the beats found go into the class-1
  // list in gap order after.
  const auto beat_in_gap = [&](std::size_t j, std::vector<double>& corr) {
    const double gap = p[j + 1] - p[j];
    const double previous = p[j] - p[j - 1];
    if (!(gap > kGapRatio * previous && gap > kMinGapSeconds * fs)) return 0.0;
    const double expected = std::ceil(2.0 * p[j] - p[j - 1]);
    const double scanStart = expected - static_cast<double>(2 * h);
    // Lags whose window lies inside the signal form one run [inside, past).
    auto window_inside = [&](std::size_t lag) {
      const double s = scanStart + static_cast<double>(lag);
      return s - static_cast<double>(h) >= 1.0 && s + static_cast<double>(h) <= static_cast<double>(n);
    };
    corr.assign(lags, 0.0);
    std::size_t inside = 0;
    while (inside < lags && !window_inside(inside)) ++inside;
    std::size_t past = inside;
    while (past < lags && window_inside(past)) ++past;
    if (past > inside) {
      const auto firstCentre = static_cast<std::ptrdiff_t>(scanStart + static_cast<double>(inside));
      correlate_run(tmpl, ecg, static_cast<std::size_t>(firstCentre - 1), past - inside, static_cast<std::size_t>(h),
                    std::span<double>(corr).subspan(inside));
    }
    // Height at a lag above the mean of its compared stretch, over the
    // template's range; 0 for a lag whose window leaves the signal.
    const auto relative_at = [&](std::size_t lag) {
      if (lag < inside || lag >= past) return 0.0;
      const auto centreAt = static_cast<std::ptrdiff_t>(scanStart + static_cast<double>(lag));
      const auto stretch = x.range(centreAt - h, centreAt + h);
      const double mean = sum(stretch) / static_cast<double>(stretch.size());
      return (x(centreAt) - mean) / amplitudeRange;
    };
    const LocalPeak best = find_local_peak(corr);
    if (is_inf(best.place)) return 0.0;
    const auto k = static_cast<std::size_t>(best.place);
    if (!(best.value > kLookBackCorrelation && std::fabs(relative_at(k - 1) - 1.0) < kLookBackAmplitudeTolerance)) {
      return 0.0;
    }
    const double candidate = best.place + scanStart - 1.0;
    const double refined = refine_on_local_maximum(r, n, candidate, kLookBackRefineHalf);
    if (!(refined > 0.0) || std::binary_search(p.begin(), p.end(), refined)) return 0.0;
    return refined;
  };
  std::vector<double> found(p.size(), 0.0);
  std::vector<double> corr;
  for (std::size_t j = 1; j + 1 < p.size(); ++j) found[j] = beat_in_gap(j, corr);
  bool added = false;
  for (double beat : found) {
    if (!(beat > 0.0)) continue;
    classes.normal.insert(std::upper_bound(classes.normal.begin(), classes.normal.end(), beat), beat);
    added = true;
  }
  return added;
}

}  // namespace

// Phase 10: one sorted list of distinct positions; a position in both
// classes keeps label 1; labels swap when class 2 holds more than half. The
// two classes' distinct positions, each ascending, are merged.
ClassifiedBeats assemble(const Classes& c) {
  auto positive_unique = [](const std::vector<double>& v) {
    std::vector<double> positive;
    for (double x : v) {
      if (x > 0.0) positive.push_back(x);
    }
    return unique_values(positive);
  };
  const std::vector<double> one = positive_unique(c.normal);
  const std::vector<double> two = positive_unique(c.other);
  ClassifiedBeats out;
  const auto keep = [&out](double position, double label) {
    out.rpeaks.push_back(position);
    out.beatClass.push_back(label);
  };
  std::size_t i = 0, j = 0;
  while (i < one.size() || j < two.size()) {
    if (j == two.size() || (i < one.size() && one[i] <= two[j])) {
      if (j < two.size() && one[i] == two[j]) ++j;
      keep(one[i++], 1.0);
    } else {
      keep(two[j++], 2.0);
    }
  }
  const double labelSum = sum(out.beatClass);
  if (labelSum > 1.5 * static_cast<double>(out.beatClass.size())) {
    for (double& label : out.beatClass) label = mod2(label) + 1.0;
  }
  return out;
}

namespace {
ClassifiedBeats unusable() { return {{0.0}, {0.0}}; }
}  // namespace

LocalPeak find_local_peak(std::span<const double> x) {
  LocalPeak best{kMinusInf, kMinusInf};
  bool found = false;
  for (std::size_t j = 0; j + 2 < x.size(); ++j) {
    const double rise = x[j + 1] - x[j];
    const double next = x[j + 2] - x[j + 1];
    if (rise > 0.0 && next <= 0.0) {
      if (!found || x[j + 1] > best.value) {
        best = {x[j + 1], static_cast<double>(j + 2)};
      }
      found = true;
    }
  }
  return best;
}

ClassifiedBeats analyze_ecg_r(std::vector<double>& ecg, double fs) { return analyze_ecg_r(ecg, ecg, fs); }

ClassifiedBeats analyze_ecg_r(std::span<const double> input, std::span<double> ecg, double fs) {
  const auto n = static_cast<std::ptrdiff_t>(input.size());
  if (n == 0 || ecg.size() != input.size()) return unusable();

  // Phase 1: median-centred raw signal, baseline removed with a 0.2 s mean.
  // The median-centred signal is kept apart (raw); ecg becomes the
  // baseline-free signal, every sample of it written after the samples were
  // last read (so the two may be one array).
  const double med = median(input);
  PooledSamples raw(PooledSamples::Overwritten{input.size()});
  for (std::size_t k = 0; k < input.size(); ++k) (*raw)[k] = input[k] - med;
  subtract_moving_average(*raw, ecg, fs / kBaselineSpanDivisor);
  const std::size_t distinctRaw = count_distinct_up_to(*raw, kMinDistinctInSignal);

  // Phases 2 to 4: noise level, QRS feature, envelope and detection mask.
  // Every sample of the arrays is written before it is read.
  const std::size_t samples = ecg.size();
  const PooledSamples::Overwritten full{samples};
  PooledSamples slope(full), slopeRange(full), feature(full), noiseSd(full), env(full), trend(full);
  PooledSamples smoothedWhole(PooledSamples::Room{crossings_smooth_directly(fs) ? samples : 0});
  qrs_ranges(ecg, samples_floor(kRangeHalfWindowSeconds * fs), *slope, *feature, *slopeRange);
  running_noise_sd(ecg, samples_floor(kNoiseHalfWindowSeconds * fs), *noiseSd);
  smooth_for_crossings(ecg, fs, *smoothedWhole);
  weight_by_slope_range(*feature, *slopeRange);
  feature_envelope(*feature, samples_floor(kEnvelopeHalfWindowSeconds * fs), *env);
  envelope_trend(*env, fs, *trend);
  const std::vector<unsigned char> mask = detection_mask(*env, *noiseSd, *trend);

  // Phases 5 to 7: candidate segments, one R peak per accepted segment.
  Segments seg = candidate_segments(mask);
  choose_segment_peaks(seg, ecg, *raw, *smoothedWhole, fs);
  keep_segments_with_peaks(seg);

  // Phase 8: beat matrix; too few beats or a coarsely quantised signal is unusable.
  const std::ptrdiff_t h = samples_floor(kBeatHalfWindowSeconds * fs);
  if (seg.peak.size() < 2 || distinctRaw < kMinDistinctInSignal) return unusable();
  const std::vector<std::vector<double>> rows = beat_matrix(seg, ecg, h);

  // Phase 9: template, classes, look-back for missed beats.
  const std::vector<double>& tmplRow = rows[choose_template(rows)];
  const Centred tmpl = centre(tmplRow);
  Classes classes = classify_beats(seg, tmpl, ecg, *raw, fs, h);
  for (int pass = 0; pass < kMaxLookBackPasses; ++pass) {
    if (!look_back_once(classes, tmpl, tmplRow, ecg, *raw, fs, h)) break;
  }

  // Phase 10.
  return assemble(classes);
}

}  // namespace zyn::beats

extern "C" {

ZYN_API void m_analyze_ecg_offline_r(emxArray_real_T* ecg, emxArray_real_T* rpeaks, emxArray_real_T* beatClass,
                                     real_T fs) {
  zyn::guarded([&] {
    const auto samples = zyn::elements(ecg);
    std::vector<double> work(samples.begin(), samples.end());
    zyn::beats::ClassifiedBeats result = zyn::beats::analyze_ecg_r(work, fs);
    std::copy(work.begin(), work.end(), samples.begin());
    zyn::assign_row(rpeaks, result.rpeaks);
    zyn::assign_row(beatClass, result.beatClass);
  });
}

}  // extern "C"
