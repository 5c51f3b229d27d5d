// Linear-time window and set kernels used by the beat detector (see the header).
#include "beats/signal_kernels.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "runtime/scalar.hpp"
#include "runtime/simd.hpp"
#include "toolbox/stats.hpp"

namespace zyn::beats {
namespace {

struct Greater {
  static double pick(double a, double b) { return a > b ? a : b; }
};
struct Smaller {
  static double pick(double a, double b) { return a < b ? a : b; }
};

// Van Herk / Gil-Werman over blocks of one window width W: a window that
// starts at offset r of a block covers that block's suffix from r and the
// next block's prefix up to r - 1, so its extreme is the pick of one suffix
// extreme and one prefix extreme. Three comparisons per sample and extreme,
// no data-dependent branches, and only two block-sized buffers.
template <class Rule>
void sliding_extreme_van_herk(std::span<const double> x, std::size_t half, std::span<double> out) {
  const std::size_t n = x.size();
  const std::size_t width = 2 * half + 1;
  std::vector<double> suffix(width), prefix(width);
  for (std::size_t start = 0; start + width <= n; start += width) {
    suffix[width - 1] = x[start + width - 1];
    for (std::size_t r = width - 1; r-- > 0;) suffix[r] = Rule::pick(x[start + r], suffix[r + 1]);
    out[start + half] = suffix[0];
    const std::size_t next = start + width;
    const std::size_t available = std::min(width - 1, n - std::min(n, next));
    if (available == 0) continue;
    prefix[0] = x[next];
    for (std::size_t r = 1; r < available; ++r) prefix[r] = Rule::pick(prefix[r - 1], x[next + r]);
    for (std::size_t r = 1; r <= available; ++r) out[start + r + half] = Rule::pick(suffix[r], prefix[r - 1]);
  }
}


// to[k] = pick(from[k], from[k + shift]) for k < count. Inlined into the
// passes below, which are compiled per vector unit as a whole: a chunk's
// passes are short, and a dispatched call per pass cost as much as the pass.
[[gnu::always_inline]] inline void widen_max(const double* __restrict from, double* __restrict to,
                                             std::size_t count, std::size_t shift) {
  for (std::size_t k = 0; k < count; ++k) to[k] = from[k] > from[k + shift] ? from[k] : from[k + shift];
}
[[gnu::always_inline]] inline void widen_min(const double* __restrict from, double* __restrict to,
                                             std::size_t count, std::size_t shift) {
  for (std::size_t k = 0; k < count; ++k) to[k] = from[k] < from[k + shift] ? from[k] : from[k + shift];
}

// Order-free input: extremes over runs of 2, 4, 8, ... samples by doubling,
// then each window of width W as the pick of two overlapping runs of the
// largest power of two p <= W (starting at its first and at its W - p-th
// sample). Each doubling step is one vectorised pass; the signal is taken in
// chunks of kChunkWindows windows so that the passes stay in the L1 cache
// (chunks of 1024 windows, 16 KiB of buffers, ran a fifth slower).
ZYN_WIDEST_VECTORS void sliding_max_by_doubling(std::span<const double> x, std::size_t half, std::span<double> out) {
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

// Centred window ranges (maximum minus minimum) of order-free input by the
// doubling above, both extremes taken chunk by chunk so that they meet in the
// L1 cache instead of in two signal-long arrays.
[[gnu::always_inline]] inline void difference(const double* a, const double* b, double* to, std::size_t count) {
  for (std::size_t k = 0; k < count; ++k) to[k] = a[k] - b[k];
}

ZYN_WIDEST_VECTORS void sliding_range_by_doubling(std::span<const double> x, std::size_t half, std::span<double> out) {
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

bool window_fits(std::span<const double> x, std::size_t half, std::span<double> out) {
  return half < x.size() && 2 * half + 1 <= x.size() && out.size() >= x.size();
}

}  // namespace

// No NaN (which the picks pass on asymmetrically) and no negative zero
// (which ties with +0 and would be picked by position).
ZYN_WIDEST_VECTORS bool extremes_are_order_free(std::span<const double> x) {
  constexpr int64_t kMagnitude = std::numeric_limits<int64_t>::max();
  constexpr int64_t kInfinityBits = 0x7FF0000000000000LL;
  constexpr int64_t kNegativeZeroBits = std::numeric_limits<int64_t>::min();
  int64_t unordered = 0;
  for (double v : x) {
    const auto bits = std::bit_cast<int64_t>(v);
    unordered |= static_cast<int64_t>((bits & kMagnitude) > kInfinityBits) |
                 static_cast<int64_t>(bits == kNegativeZeroBits);
  }
  return unordered == 0;
}

void sliding_range_centred(std::span<const double> x, std::size_t half, std::span<double> out) {
  if (!window_fits(x, half, out)) return;
  if (extremes_are_order_free(x)) {
    sliding_range_by_doubling(x, half, out);
    return;
  }
  const std::size_t n = x.size();
  std::vector<double> low(n);
  sliding_extreme_van_herk<Greater>(x, half, out);
  sliding_extreme_van_herk<Smaller>(x, half, low);
  for (std::size_t k = half; k + half < n; ++k) out[k] = out[k] - low[k];
}

// The vectorised doubling for order-free input, otherwise van Herk /
// Gil-Werman, whose fixed comparison order settles NaN and signed zeros. Both
// give the same values on order-free input.
void sliding_max_centred(std::span<const double> x, std::size_t half, std::span<double> out) {
  if (!window_fits(x, half, out)) return;
  if (extremes_are_order_free(x)) {
    sliding_max_by_doubling(x, half, out);
  } else {
    sliding_extreme_van_herk<Greater>(x, half, out);
  }
}

}  // namespace zyn::beats
