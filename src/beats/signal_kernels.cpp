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
  static double pick(double a, double b) { return a > b ? a : b; }
};
struct Smaller {
  static double pick(double a, double b) { return a < b ? a : b; }
};

// Van Herk / Gil-Werman: prefix extremes inside blocks of the window width
// and suffix extremes inside the same blocks; a window spans at most one
// block boundary, so its extreme is the pick of one suffix and one prefix.
template <class Rule>
void sliding_extreme(std::span<const double> x, std::size_t half, std::span<double> out) {
  const std::size_t n = x.size();
  const std::size_t width = 2 * half + 1;
  if (half >= n || width > n || out.size() < n) return;
  std::vector<double> prefix(n), suffix(n);
  for (std::size_t i = 0; i < n; ++i) {
    prefix[i] = (i % width == 0) ? x[i] : Rule::pick(prefix[i - 1], x[i]);
  }
  for (std::size_t i = n; i-- > 0;) {
    const bool blockEnd = (i + 1) % width == 0 || i + 1 == n;
    suffix[i] = blockEnd ? x[i] : Rule::pick(suffix[i + 1], x[i]);
  }
  for (std::size_t i = 0; i + width <= n; ++i) {
    out[i + half] = Rule::pick(suffix[i], prefix[i + width - 1]);
  }
}

uint64_t key_of(double v) {
  if (v == 0.0) v = 0.0;  // +0 and -0 are one value
  return std::bit_cast<uint64_t>(v);
}

}  // namespace

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
  if (n < 2 || !(span > 0.0)) return;
  const double widthValue = 2.0 * ceil_trunc(span / 2.0) - 1.0;
  if (!(widthValue >= 3.0)) return;
  const double halfValue = std::floor(widthValue / 2.0);
  const std::size_t half =
      halfValue >= static_cast<double>(n) ? n : static_cast<std::size_t>(halfValue);
  const std::vector<double> in = x;
  // Running sum of the samples in the (clipped) window around k.
  double sum = 0.0;
  std::size_t lo = 0, hi = 0;  // window is in[lo, hi)
  const std::size_t firstHi = std::min(n, half + 1);
  for (; hi < firstHi; ++hi) sum += in[hi];
  for (std::size_t k = 0; k < n; ++k) {
    const std::size_t wantLo = k > half ? k - half : 0;
    const std::size_t wantHi = std::min(n, k + half + 1);
    while (hi < wantHi) sum += in[hi++];
    while (lo < wantLo) sum -= in[lo++];
    x[k] = sum / static_cast<double>(hi - lo);
  }
}

std::size_t first_max_index(std::span<const double> x) {
  std::size_t best = 0;
  for (std::size_t k = 1; k < x.size(); ++k) {
    if (x[k] > x[best]) best = k;
  }
  return best;
}

}  // namespace zyn::beats
