// Kernels of the beat detectors (see the header), compiled once per processor
// variant through Highway's dynamic dispatch (runtime/dispatch.hpp). Each
// lane performs the scalar IEEE operations of the plain loop in its order
// (the build never contracts them into fused multiply-adds), comparisons are
// the ordered ones of the plain loop (false for a NaN), and the last samples
// that fill no whole vector take the plain loop itself; so every variant
// gives the plain loop's bits.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "beats/detection_kernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "beats/detection_kernels.hpp"
#include "beats/signal_kernels.hpp"

#ifndef ZYN_BEATS_DETECTION_KERNELS_PLAIN
#define ZYN_BEATS_DETECTION_KERNELS_PLAIN
namespace zyn::beats::plain {

// The definitions, one element at a time; the lanes finish with them.
inline void standard_deviations_from_sums(const double* s, const double* q, std::size_t from, std::size_t count,
                                          double width, double dof, double* sd) {
  for (std::size_t j = from; j < count; ++j) sd[j] = std::sqrt((q[j] - s[j] * s[j] / width) / dof);
}

inline void mark_clear_crossings(const double* env, const double* noiseSd, const double* trend, std::size_t from,
                                 std::size_t n, double noiseWeight, double trendWeight, unsigned char* mask) {
  for (std::size_t k = from; k < n; ++k) {
    const double cube = noiseSd[k] * noiseSd[k] * noiseSd[k];
    const double approx = noiseWeight * cube + trendWeight * trend[k];
    const double margin = 1e-12 * (std::fabs(noiseWeight * cube) + std::fabs(trendWeight * trend[k]));
    // A non-negative margin makes the two exclusive: 1 above, 0 below, 2 neither.
    const int above = env[k] > approx + margin;
    const int below = env[k] < approx - margin;
    mask[k] = static_cast<unsigned char>(kUndecidedCrossing - 2 * below - above);
  }
}

inline int64_t sign_of(double v, double mean) {
  return static_cast<int64_t>(v > mean) - static_cast<int64_t>(v < mean);
}

inline int64_t sign_steps_about(const double* x, std::size_t from, std::size_t n, double mean) {
  int64_t changes = 0;
  for (std::size_t k = std::max<std::size_t>(from, 1); k < n; ++k) {
    const int64_t step = sign_of(x[k], mean) - sign_of(x[k - 1], mean);
    changes += step < 0 ? -step : step;
  }
  return changes;
}

inline void code_turning_points(const double* y, std::size_t from, std::size_t n, unsigned char* code) {
  for (std::size_t k = std::max<std::size_t>(from, 1); k + 1 < n; ++k) {
    const int isMaximum = (y[k] > y[k - 1]) & (y[k + 1] <= y[k]);
    const int isMinimum = (y[k] <= y[k - 1]) & (y[k] < y[k + 1]);
    code[k] = static_cast<unsigned char>(isMaximum * kMaximumCode + isMinimum * kMinimumCode);
  }
}

inline double larger(double a, double b) { return a > b ? a : b; }
inline double smaller(double a, double b) { return a < b ? a : b; }

}  // namespace zyn::beats::plain
#endif

HWY_BEFORE_NAMESPACE();
namespace zyn::beats::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using Doubles = hn::ScalableTag<double>;

// Lane values 0, 1 or 2 stored as one byte each.
template <class V>
void store_codes(V codes, unsigned char* to) {
  const hn::Rebind<int32_t, Doubles> d32;
  const hn::Rebind<uint8_t, Doubles> d8;
  hn::StoreU(hn::DemoteTo(d8, hn::DemoteTo(d32, codes)), d8, to);
}

void standard_deviations_from_sums_lanes(const double* s, const double* q, std::size_t count, double width,
                                         double dof, double* sd) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  const auto w = hn::Set(d, width);
  const auto f = hn::Set(d, dof);
  std::size_t j = 0;
  for (; j + lanes <= count; j += lanes) {
    const auto sums = hn::LoadU(d, s + j);
    const auto squares = hn::LoadU(d, q + j);
    hn::StoreU(hn::Sqrt(hn::Div(hn::Sub(squares, hn::Div(hn::Mul(sums, sums), w)), f)), d, sd + j);
  }
  plain::standard_deviations_from_sums(s, q, j, count, width, dof, sd);
}

void mark_clear_crossings_lanes(const double* env, const double* noiseSd, const double* trend, std::size_t n,
                                double noiseWeight, double trendWeight, unsigned char* mask) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  const auto wn = hn::Set(d, noiseWeight);
  const auto wt = hn::Set(d, trendWeight);
  const auto relative = hn::Set(d, 1e-12);
  const auto one = hn::Set(d, 1.0);
  const auto two = hn::Set(d, 2.0);
  std::size_t k = 0;
  for (; k + lanes <= n; k += lanes) {
    const auto sd = hn::LoadU(d, noiseSd + k);
    const auto cube = hn::Mul(hn::Mul(sd, sd), sd);
    const auto noiseTerm = hn::Mul(wn, cube);
    const auto trendTerm = hn::Mul(wt, hn::LoadU(d, trend + k));
    const auto approx = hn::Add(noiseTerm, trendTerm);
    const auto margin = hn::Mul(relative, hn::Add(hn::Abs(noiseTerm), hn::Abs(trendTerm)));
    const auto e = hn::LoadU(d, env + k);
    const auto above = hn::Gt(e, hn::Add(approx, margin));
    const auto below = hn::Lt(e, hn::Sub(approx, margin));
    // 2 - 2 below - above: 1 above, 0 below, 2 neither (never both).
    store_codes(hn::IfThenElse(above, one, hn::IfThenElseZero(hn::Not(below), two)), mask + k);
  }
  plain::mark_clear_crossings(env, noiseSd, trend, k, n, noiseWeight, trendWeight, mask);
}

// The steps are whole numbers of at most 2 summed in double lanes: exact in
// any order (far below 2^53).
int64_t sign_steps_about_lanes(const double* x, std::size_t n, double mean) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  const auto m = hn::Set(d, mean);
  const auto one = hn::Set(d, 1.0);
  const auto sign = [&](auto v) {
    return hn::Sub(hn::IfThenElseZero(hn::Gt(v, m), one), hn::IfThenElseZero(hn::Lt(v, m), one));
  };
  auto steps = hn::Zero(d);
  std::size_t k = 1;
  for (; k + lanes <= n; k += lanes) {
    steps = hn::Add(steps, hn::Abs(hn::Sub(sign(hn::LoadU(d, x + k)), sign(hn::LoadU(d, x + k - 1)))));
  }
  const auto total = static_cast<int64_t>(hn::GetLane(hn::SumOfLanes(d, steps)));
  return total + plain::sign_steps_about(x, k, n, mean);
}

void code_turning_points_lanes(const double* y, std::size_t n, unsigned char* code) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  const auto one = hn::Set(d, static_cast<double>(kMaximumCode));
  const auto two = hn::Set(d, static_cast<double>(kMinimumCode));
  std::size_t k = 1;
  for (; k + 1 + lanes <= n; k += lanes) {
    const auto before = hn::LoadU(d, y + k - 1);
    const auto here = hn::LoadU(d, y + k);
    const auto after = hn::LoadU(d, y + k + 1);
    const auto isMaximum = hn::And(hn::Gt(here, before), hn::Le(after, here));
    const auto isMinimum = hn::And(hn::Le(here, before), hn::Lt(here, after));
    store_codes(hn::Add(hn::IfThenElseZero(isMaximum, one), hn::IfThenElseZero(isMinimum, two)), code + k);
  }
  plain::code_turning_points(y, k, n, code);
}

// to[k] = pick(from[k], from[k + shift]) for k < count, the plain picks
// "a > b ? a : b" (Larger) and "a < b ? a : b".
template <bool Larger>
void widen(const double* from, double* to, std::size_t count, std::size_t shift) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  std::size_t k = 0;
  for (; k + lanes <= count; k += lanes) {
    const auto a = hn::LoadU(d, from + k);
    const auto b = hn::LoadU(d, from + k + shift);
    hn::StoreU(hn::IfThenElse(Larger ? hn::Gt(a, b) : hn::Lt(a, b), a, b), d, to + k);
  }
  for (; k < count; ++k) {
    to[k] = Larger ? plain::larger(from[k], from[k + shift]) : plain::smaller(from[k], from[k + shift]);
  }
}
void widen_max(const double* from, double* to, std::size_t count, std::size_t shift) {
  widen<true>(from, to, count, shift);
}
void widen_min(const double* from, double* to, std::size_t count, std::size_t shift) {
  widen<false>(from, to, count, shift);
}
void difference(const double* a, const double* b, double* to, std::size_t count) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  std::size_t k = 0;
  for (; k + lanes <= count; k += lanes) hn::StoreU(hn::Sub(hn::LoadU(d, a + k), hn::LoadU(d, b + k)), d, to + k);
  for (; k < count; ++k) to[k] = a[k] - b[k];
}

// Extremes over runs of 2, 4, 8, ... samples by doubling, then each window
// of width W as the pick of two overlapping runs of the largest power of two
// p <= W (starting at its first and at its W - p-th sample). Each doubling
// step is one pass across lanes; the signal is taken in chunks of
// kChunkWindows windows so that the passes stay in the L1 cache (chunks of
// 1024 windows, 16 KiB of buffers, ran a fifth slower).
void sliding_max_order_free_lanes(std::span<const double> x, std::size_t half, std::span<double> out) {
  constexpr std::size_t kChunkWindows = 512;
  const std::size_t n = x.size();
  const std::size_t width = 2 * half + 1;
  const std::size_t windows = n - width + 1;
  std::vector<double> bufferA(kChunkWindows + width), bufferB(kChunkWindows + width);
  for (std::size_t first = 0; first < windows; first += kChunkWindows) {
    const std::size_t count = std::min(kChunkWindows, windows - first);
    const std::size_t length = count + width - 1;  // samples the chunk's windows cover
    // runs[k] = extreme of the chunk's samples k .. k + run - 1, k <= length - run
    const double* runs = x.data() + first;
    double* next = bufferA.data();
    std::size_t run = 1;
    for (; 2 * run <= width; run *= 2) {
      widen_max(runs, next, length - 2 * run + 1, run);
      runs = next;
      next = next == bufferA.data() ? bufferB.data() : bufferA.data();
    }
    widen_max(runs, out.data() + first + half, count, width - run);
  }
}

// Both extremes are taken chunk by chunk so that they meet in the L1 cache
// instead of in two signal-long arrays.
void sliding_range_order_free_lanes(std::span<const double> x, std::size_t half, std::span<double> out) {
  // Six buffers of a chunk: 256 windows keep them (13 KiB for 0.05 s windows
  // at 200 Hz) well inside a 48 KiB L1 data cache; 1024 windows spilled
  // them and took 40 % longer.
  constexpr std::size_t kChunkWindows = 256;
  const std::size_t n = x.size();
  const std::size_t width = 2 * half + 1;
  const std::size_t windows = n - width + 1;
  const std::size_t bufferLength = kChunkWindows + width;
  std::vector<double> buffers(6 * bufferLength);
  double* const highA = buffers.data();
  double* const highB = highA + bufferLength;
  double* const lowA = highB + bufferLength;
  double* const lowB = lowA + bufferLength;
  double* const high = lowB + bufferLength;
  double* const low = high + bufferLength;
  for (std::size_t first = 0; first < windows; first += kChunkWindows) {
    const std::size_t count = std::min(kChunkWindows, windows - first);
    const std::size_t length = count + width - 1;
    const double* highRuns = x.data() + first;
    const double* lowRuns = x.data() + first;
    double* nextHigh = highA;
    double* nextLow = lowA;
    std::size_t run = 1;
    for (; 2 * run <= width; run *= 2) {
      widen_max(highRuns, nextHigh, length - 2 * run + 1, run);
      widen_min(lowRuns, nextLow, length - 2 * run + 1, run);
      highRuns = nextHigh;
      lowRuns = nextLow;
      nextHigh = nextHigh == highA ? highB : highA;
      nextLow = nextLow == lowA ? lowB : lowA;
    }
    widen_max(highRuns, high, count, width - run);
    widen_min(lowRuns, low, count, width - run);
    difference(high, low, out.data() + first + half, count);
  }
}

// NaN (which the picks pass on asymmetrically) or negative zero (which ties
// with +0 and would be picked by position), found from the bits.
bool extremes_are_order_free_lanes(std::span<const double> x) {
  const Doubles d;
  const hn::RebindToSigned<Doubles> di;
  const std::size_t lanes = hn::Lanes(d);
  const auto magnitude = hn::Set(di, std::numeric_limits<int64_t>::max());
  const auto infinity = hn::Set(di, int64_t{0x7FF0000000000000LL});
  const auto negativeZero = hn::Set(di, std::numeric_limits<int64_t>::min());
  auto unordered = hn::Zero(di);
  std::size_t k = 0;
  for (; k + lanes <= x.size(); k += lanes) {
    const auto bits = hn::BitCast(di, hn::LoadU(d, x.data() + k));
    const auto bad = hn::Or(hn::Gt(hn::And(bits, magnitude), infinity), hn::Eq(bits, negativeZero));
    unordered = hn::Or(unordered, hn::VecFromMask(di, bad));
  }
  if (!hn::AllTrue(di, hn::Eq(unordered, hn::Zero(di)))) return false;
  for (; k < x.size(); ++k) {
    const auto bits = std::bit_cast<int64_t>(x[k]);
    if ((bits & std::numeric_limits<int64_t>::max()) > 0x7FF0000000000000LL ||
        bits == std::numeric_limits<int64_t>::min()) {
      return false;
    }
  }
  return true;
}

// Each lane keeps its own running maximum; without NaN the lanes' maxima
// combine to the same value as the plain running maximum (up to a zero's sign).
bool largest_if_no_nan_lanes(std::span<const double> f, double& largest) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  auto best = hn::Set(d, f[0]);
  auto seenNan = hn::FirstN(d, 0);
  std::size_t k = 0;
  for (; k + lanes <= f.size(); k += lanes) {
    const auto v = hn::LoadU(d, f.data() + k);
    best = hn::IfThenElse(hn::Gt(best, v), best, v);
    seenNan = hn::Or(seenNan, hn::IsNaN(v));
  }
  if (!hn::AllFalse(d, seenNan)) return false;
  HWY_ALIGN double lane[HWY_MAX_BYTES / sizeof(double)];
  hn::Store(best, d, lane);
  double m = lane[0];
  for (std::size_t l = 0; l < lanes; ++l) m = plain::larger(m, lane[l]);
  for (; k < f.size(); ++k) {
    if (std::isnan(f[k])) return false;
    m = plain::larger(m, f[k]);
  }
  largest = m;
  return true;
}

bool any_at_least_lanes(std::span<const double> f, std::size_t from, std::size_t to, double v) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  const auto level = hn::Set(d, v);
  auto found = hn::FirstN(d, 0);
  std::size_t i = from;
  for (; i + lanes <= to + 1; i += lanes) found = hn::Or(found, hn::Ge(hn::LoadU(d, f.data() + i), level));
  bool any = !hn::AllFalse(d, found);
  for (; i <= to; ++i) any |= f[i] >= v;
  return any;
}

// A NaN is never taken ("a > largest" is false for it), so the maximum does
// not depend on the order of comparisons.
double largest_magnitude_lanes(std::span<const double> x, double floor) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  auto best = hn::Set(d, floor);
  std::size_t k = 0;
  for (; k + lanes <= x.size(); k += lanes) {
    const auto a = hn::Abs(hn::LoadU(d, x.data() + k));
    best = hn::IfThenElse(hn::Gt(a, best), a, best);
  }
  HWY_ALIGN double lane[HWY_MAX_BYTES / sizeof(double)];
  hn::Store(best, d, lane);
  double largest = floor;
  for (std::size_t l = 0; l < lanes; ++l) largest = lane[l] > largest ? lane[l] : largest;
  for (; k < x.size(); ++k) {
    const double a = std::fabs(x[k]);
    if (a > largest) largest = a;
  }
  return largest;
}

}  // namespace zyn::beats::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zyn::beats {

HWY_EXPORT(standard_deviations_from_sums_lanes);
HWY_EXPORT(mark_clear_crossings_lanes);
HWY_EXPORT(sign_steps_about_lanes);
HWY_EXPORT(code_turning_points_lanes);
HWY_EXPORT(sliding_max_order_free_lanes);
HWY_EXPORT(sliding_range_order_free_lanes);
HWY_EXPORT(extremes_are_order_free_lanes);
HWY_EXPORT(largest_if_no_nan_lanes);
HWY_EXPORT(any_at_least_lanes);
HWY_EXPORT(largest_magnitude_lanes);

void standard_deviations_from_sums(const double* s, const double* q, std::size_t count, double width, double dof,
                                   double* sd) {
  HWY_DYNAMIC_DISPATCH(standard_deviations_from_sums_lanes)(s, q, count, width, dof, sd);
}

void mark_clear_crossings(const double* env, const double* noiseSd, const double* trend, std::size_t n,
                          double noiseWeight, double trendWeight, unsigned char* mask) {
  HWY_DYNAMIC_DISPATCH(mark_clear_crossings_lanes)(env, noiseSd, trend, n, noiseWeight, trendWeight, mask);
}

int64_t sign_steps_about(std::span<const double> x, double mean) {
  return HWY_DYNAMIC_DISPATCH(sign_steps_about_lanes)(x.data(), x.size(), mean);
}

void code_turning_points(const double* y, std::size_t n, unsigned char* code) {
  HWY_DYNAMIC_DISPATCH(code_turning_points_lanes)(y, n, code);
}

void sliding_max_order_free(std::span<const double> x, std::size_t half, std::span<double> out) {
  HWY_DYNAMIC_DISPATCH(sliding_max_order_free_lanes)(x, half, out);
}

void sliding_range_order_free(std::span<const double> x, std::size_t half, std::span<double> out) {
  HWY_DYNAMIC_DISPATCH(sliding_range_order_free_lanes)(x, half, out);
}

bool extremes_are_order_free(std::span<const double> x) {
  return HWY_DYNAMIC_DISPATCH(extremes_are_order_free_lanes)(x);
}

bool largest_if_no_nan(std::span<const double> f, double& largest) {
  return HWY_DYNAMIC_DISPATCH(largest_if_no_nan_lanes)(f, largest);
}

bool any_at_least(std::span<const double> f, std::size_t from, std::size_t to, double v) {
  return HWY_DYNAMIC_DISPATCH(any_at_least_lanes)(f, from, to, v);
}

double largest_magnitude(std::span<const double> x, double floor) {
  return HWY_DYNAMIC_DISPATCH(largest_magnitude_lanes)(x, floor);
}

// Eight samples are compared with their predecessors at once: most such runs
// hold no change (a beat changes the mask twice in about 160 samples), and in
// the others the differing bytes point at the changes.
void mask_changes(std::span<const unsigned char> mask, std::vector<std::ptrdiff_t>& rises,
                  std::vector<std::ptrdiff_t>& falls) {
  const auto n = static_cast<std::ptrdiff_t>(mask.size());
  const auto note_change_at = [&](std::ptrdiff_t j) {
    const int d = static_cast<int>(mask[static_cast<std::size_t>(j)]) -
                  static_cast<int>(mask[static_cast<std::size_t>(j - 1)]);
    if (d == 1) rises.push_back(j);
    if (d == -1) falls.push_back(j);
  };
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
}

}  // namespace zyn::beats
#endif  // HWY_ONCE
