// Linear-time window and set kernels used by the beat detector (see the header).
#include "beats/signal_kernels.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "runtime/scalar.hpp"

namespace zyn::beats {
namespace {

struct Greater {
  static bool dominates(double kept, double incoming) { return kept > incoming; }
};
struct Smaller {
  static bool dominates(double kept, double incoming) { return kept < incoming; }
};

// Monotonic queue of sample indices whose values strictly dominate every later
// one still in the window; its front is the window's extreme. Each index
// enters and leaves once, so the cost is linear whatever the width, and the
// queue never holds more than one window of indices (a ring of that size).
template <class Rule>
void sliding_extreme(std::span<const double> x, std::size_t half, std::span<double> out) {
  const std::size_t n = x.size();
  if (half >= n || 2 * half + 1 > n || out.size() < n) return;
  const std::size_t width = 2 * half + 1;
  std::vector<std::size_t> ring(width + 1);
  const std::size_t cap = ring.size();
  std::size_t front = 0, count = 0;
  for (std::size_t i = 0; i < n; ++i) {
    while (count > 0 && !Rule::dominates(x[ring[(front + count - 1) % cap]], x[i])) --count;
    ring[(front + count) % cap] = i;
    ++count;
    if (ring[front] + width <= i) {
      front = (front + 1) % cap;
      --count;
    }
    if (i + 1 >= width) out[i - half] = x[ring[front]];
  }
}

// Both monotonic queues in one pass: out[k] = max - min of the window.
void sliding_range(std::span<const double> x, std::size_t half, std::span<double> out) {
  const std::size_t n = x.size();
  if (half >= n || 2 * half + 1 > n || out.size() < n) return;
  const std::size_t width = 2 * half + 1;
  const std::size_t cap = width + 1;
  std::vector<std::size_t> hiRing(cap), loRing(cap);
  std::size_t hiFront = 0, hiCount = 0, loFront = 0, loCount = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const double v = x[i];
    while (hiCount > 0 && !(x[hiRing[(hiFront + hiCount - 1) % cap]] > v)) --hiCount;
    hiRing[(hiFront + hiCount++) % cap] = i;
    while (loCount > 0 && !(x[loRing[(loFront + loCount - 1) % cap]] < v)) --loCount;
    loRing[(loFront + loCount++) % cap] = i;
    if (hiRing[hiFront] + width <= i) {
      hiFront = (hiFront + 1) % cap;
      --hiCount;
    }
    if (loRing[loFront] + width <= i) {
      loFront = (loFront + 1) % cap;
      --loCount;
    }
    if (i + 1 >= width) out[i - half] = x[hiRing[hiFront]] - x[loRing[loFront]];
  }
}

uint64_t key_of(double v) {
  if (v == 0.0) v = 0.0;  // +0 and -0 are one value
  return std::bit_cast<uint64_t>(v);
}

}  // namespace

void sliding_range_centred(std::span<const double> x, std::size_t half, std::span<double> out) {
  sliding_range(x, half, out);
}

void sliding_max_centred(std::span<const double> x, std::size_t half, std::span<double> out) {
  sliding_extreme<Greater>(x, half, out);
}

void sliding_min_centred(std::span<const double> x, std::size_t half, std::span<double> out) {
  sliding_extreme<Smaller>(x, half, out);
}

std::size_t count_distinct_up_to(std::span<const double> x, std::size_t cap) {
  if (cap == 0) return 0;
  std::size_t slots = 16;
  while (slots < 4 * cap) slots *= 2;
  std::vector<uint64_t> table(slots);
  std::vector<unsigned char> used(slots, 0);
  std::size_t count = 0;
  for (double v : x) {
    if (std::isnan(v)) {  // no two NaN samples are ever merged
      if (++count >= cap) return cap;
      continue;
    }
    const uint64_t key = key_of(v);
    std::size_t slot = static_cast<std::size_t>((key * 0x9E3779B97F4A7C15ull) >> 40) & (slots - 1);
    while (used[slot] && table[slot] != key) slot = (slot + 1) & (slots - 1);
    if (used[slot]) continue;
    used[slot] = 1;
    table[slot] = key;
    if (++count >= cap) return cap;
  }
  return count;
}

double median_of(std::span<const double> x) {
  const std::size_t n = x.size();
  if (n == 0) return std::numeric_limits<double>::quiet_NaN();
  std::vector<double> v(x.begin(), x.end());
  // NaN samples sort after every number: keep them out of the selection.
  const auto numbersEnd = std::partition(v.begin(), v.end(), [](double a) { return !std::isnan(a); });
  const auto numbers = static_cast<std::size_t>(numbersEnd - v.begin());
  const double nan = std::numeric_limits<double>::quiet_NaN();
  auto order_statistic = [&](std::size_t p) -> double {
    if (p >= numbers) return nan;
    std::nth_element(v.begin(), v.begin() + static_cast<std::ptrdiff_t>(p), numbersEnd);
    return v[p];
  };
  if (n % 2 == 1) return order_statistic(n / 2);
  const std::size_t lowerPlace = n / 2 - 1;
  const double lower = order_statistic(lowerPlace);
  double upper = nan;
  if (lowerPlace + 1 < numbers) {
    upper = *std::min_element(v.begin() + static_cast<std::ptrdiff_t>(lowerPlace + 1), numbersEnd);
  }
  const bool sameSign = (lower < 0.0) == (upper < 0.0);
  if (sameSign && !is_inf(lower) && !is_inf(upper)) return lower + (upper - lower) / 2.0;
  return (lower + upper) / 2.0;
}

void smooth_in_place(std::vector<double>& x, double span) {
  const std::size_t n = x.size();
  const std::size_t half = std::min(smoothing_half_width(span), n);
  if (n < 2 || half == 0) return;
  if (half <= kDirectSumHalfWidth) {
    smooth_direct(x, half);
    return;
  }
  // Running sum of the (clipped) window around k. The original samples that
  // will still leave the window are kept in a ring, since x is overwritten.
  std::vector<double> ring(half + 1);
  double sum = 0.0;
  std::size_t lo = 0, hi = 0;  // window is [lo, hi)
  for (std::size_t k = 0; k < n; ++k) {
    const std::size_t wantLo = k > half ? k - half : 0;
    const std::size_t wantHi = std::min(n, k + half + 1);
    for (; hi < wantHi; ++hi) sum += x[hi];
    for (; lo < wantLo; ++lo) sum -= ring[lo % ring.size()];
    ring[k % ring.size()] = x[k];
    x[k] = sum / static_cast<double>(hi - lo);
  }
}

std::size_t smoothing_half_width(double span) {
  if (!(span > 0.0)) return 0;
  const double widthValue = 2.0 * ceil_trunc(span / 2.0) - 1.0;
  if (!(widthValue >= 3.0)) return 0;
  const double halfValue = std::floor(widthValue / 2.0);
  if (halfValue > 1e15) return static_cast<std::size_t>(1e15);
  return static_cast<std::size_t>(halfValue);
}

void smooth_direct(std::vector<double>& x, std::size_t half) {
  const std::size_t n = x.size();
  std::vector<double> ring(half + 1);
  for (std::size_t k = 0; k < n; ++k) {
    const std::size_t lo = k > half ? k - half : 0;
    const std::size_t hi = std::min(n, k + half + 1);
    // Samples before k were overwritten: their originals are in the ring.
    double sum = 0.0;
    for (std::size_t i = lo; i < k; ++i) sum += ring[i % ring.size()];
    for (std::size_t i = k; i < hi; ++i) sum += x[i];
    ring[k % ring.size()] = x[k];
    x[k] = sum / static_cast<double>(hi - lo);
  }
}

double smoothed_sample(std::span<const double> x, std::size_t k, std::size_t half) {
  const std::size_t lo = k > half ? k - half : 0;
  const std::size_t hi = std::min(x.size(), k + half + 1);
  double sum = 0.0;
  for (std::size_t i = lo; i < hi; ++i) sum += x[i];
  return sum / static_cast<double>(hi - lo);
}

std::size_t first_max_index(std::span<const double> x) {
  std::size_t best = 0;
  for (std::size_t k = 1; k < x.size(); ++k) {
    if (x[k] > x[best]) best = k;
  }
  return best;
}

}  // namespace zyn::beats
