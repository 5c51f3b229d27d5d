// Lane kernels of the moving average (see moving_average_kernels.hpp),
// compiled per processor variant. Each lane of a window sum adds its
// samples in sample order, as the plain loop does, so every variant gives
// the same bits.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "toolbox/moving_average_kernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "toolbox/moving_average_kernels.hpp"

#ifndef ZYN_TOOLBOX_MOVING_AVERAGE_PLAIN
#define ZYN_TOOLBOX_MOVING_AVERAGE_PLAIN
#include <cmath>

namespace zyn::plain {

inline bool all_finite(std::span<const double> x) {
  for (double v : x) {
    if (!std::isfinite(v)) return false;
  }
  return true;
}

// The window means from window `first` on (the lanes finish with it).
inline void full_window_means(const double* from, double* out, std::size_t first, std::size_t count,
                              std::size_t half) {
  const std::size_t width = 2 * half + 1;
  for (std::size_t j = first; j < count; ++j) {
    double sum = 0.0;
    for (std::size_t i = 0; i < width; ++i) sum += from[j + i];
    out[j] = sum / static_cast<double>(width);
  }
}

}  // namespace zyn::plain
#endif

HWY_BEFORE_NAMESPACE();
namespace zyn::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// v - v is 0 for a finite v and NaN for an infinite or NaN one, and a NaN
// stays in a sum: two arithmetic operations a vector, in two independent
// sums, without converting comparison masks.
bool all_finite_lanes(std::span<const double> x) {
  const hn::ScalableTag<double> d;
  const std::size_t lanes = hn::Lanes(d);
  auto even = hn::Zero(d);
  auto odd = hn::Zero(d);
  std::size_t k = 0;
  for (; k + 2 * lanes <= x.size(); k += 2 * lanes) {
    const auto a = hn::LoadU(d, x.data() + k);
    const auto b = hn::LoadU(d, x.data() + k + lanes);
    even = hn::Add(even, hn::Sub(a, a));
    odd = hn::Add(odd, hn::Sub(b, b));
  }
  const auto sum = hn::Add(even, odd);
  return hn::AllTrue(d, hn::Eq(sum, sum)) && plain::all_finite(x.subspan(k));
}

// Four vectors of windows advance together: one window sum is a chain of
// dependent additions, and independent chains keep the adders busy.
void full_window_means_lanes(const double* from, double* out, std::size_t count, std::size_t half) {
  const hn::ScalableTag<double> d;
  const std::size_t lanes = hn::Lanes(d);
  const std::size_t width = 2 * half + 1;
  const auto divisor = hn::Set(d, static_cast<double>(width));
  std::size_t j = 0;
  for (; j + 4 * lanes <= count; j += 4 * lanes) {
    auto s0 = hn::Zero(d), s1 = hn::Zero(d), s2 = hn::Zero(d), s3 = hn::Zero(d);
    for (std::size_t i = 0; i < width; ++i) {
      const double* column = from + j + i;
      s0 = hn::Add(s0, hn::LoadU(d, column));
      s1 = hn::Add(s1, hn::LoadU(d, column + lanes));
      s2 = hn::Add(s2, hn::LoadU(d, column + 2 * lanes));
      s3 = hn::Add(s3, hn::LoadU(d, column + 3 * lanes));
    }
    hn::StoreU(hn::Div(s0, divisor), d, out + j);
    hn::StoreU(hn::Div(s1, divisor), d, out + j + lanes);
    hn::StoreU(hn::Div(s2, divisor), d, out + j + 2 * lanes);
    hn::StoreU(hn::Div(s3, divisor), d, out + j + 3 * lanes);
  }
  for (; j + lanes <= count; j += lanes) {
    auto sum = hn::Zero(d);
    for (std::size_t i = 0; i < width; ++i) sum = hn::Add(sum, hn::LoadU(d, from + j + i));
    hn::StoreU(hn::Div(sum, divisor), d, out + j);
  }
  plain::full_window_means(from, out, j, count, half);
}

}  // namespace zyn::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zyn {

HWY_EXPORT(all_finite_lanes);
HWY_EXPORT(full_window_means_lanes);

bool all_finite(std::span<const double> x) { return HWY_DYNAMIC_DISPATCH(all_finite_lanes)(x); }

void full_window_means(const double* from, double* out, std::size_t count, std::size_t half) {
  HWY_DYNAMIC_DISPATCH(full_window_means_lanes)(from, out, count, half);
}

}  // namespace zyn
#endif  // HWY_ONCE
