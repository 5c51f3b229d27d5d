// Linear-time window and set kernels used by the beat detector (see the header).
#include "beats/signal_kernels.hpp"

#include "beats/detection_kernels.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "runtime/scalar.hpp"
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


bool window_fits(std::span<const double> x, std::size_t half, std::span<double> out) {
  return half < x.size() && 2 * half + 1 <= x.size() && out.size() >= x.size();
}

}  // namespace

void sliding_range_centred(std::span<const double> x, std::size_t half, std::span<double> out) {
  if (!window_fits(x, half, out)) return;
  if (extremes_are_order_free(x)) {
    sliding_range_order_free(x, half, out);
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
    sliding_max_order_free(x, half, out);
  } else {
    sliding_extreme_van_herk<Greater>(x, half, out);
  }
}

}  // namespace zyn::beats
