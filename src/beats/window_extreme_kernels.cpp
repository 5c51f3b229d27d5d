// Window extremes and maxima of the beat detectors (see
// detection_kernels.hpp), compiled once per processor variant through
// Highway's dynamic dispatch (runtime/dispatch.hpp). Each lane performs the
// plain loop's comparisons (ordered ones, false for a NaN) and picks; the
// last samples that fill no whole vector take the plain loop itself. Where
// lanes combine their maxima the input holds no NaN, so the maximum is one
// value whatever the order of comparisons (up to a zero's sign).
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "beats/window_extreme_kernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "beats/detection_kernels.hpp"
#include "beats/signal_kernels.hpp"

#ifndef ZYN_BEATS_WINDOW_EXTREME_KERNELS_PLAIN
#define ZYN_BEATS_WINDOW_EXTREME_KERNELS_PLAIN
namespace zyn::beats::plain {

inline double larger(double a, double b) { return a > b ? a : b; }
inline double smaller(double a, double b) { return a < b ? a : b; }

}  // namespace zyn::beats::plain
#endif

HWY_BEFORE_NAMESPACE();
namespace zyn::beats::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using Doubles = hn::ScalableTag<double>;

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

HWY_EXPORT(sliding_max_order_free_lanes);
HWY_EXPORT(sliding_range_order_free_lanes);
HWY_EXPORT(extremes_are_order_free_lanes);
HWY_EXPORT(largest_if_no_nan_lanes);
HWY_EXPORT(any_at_least_lanes);
HWY_EXPORT(largest_magnitude_lanes);

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

}  // namespace zyn::beats
#endif  // HWY_ONCE
