// Correlation of a centred template with many windows of a signal, several
// windows side by side in vector lanes (window_correlations of stats.hpp),
// compiled per processor variant.
//
// Each lane keeps its own window's sums, added in sample order exactly as
// correlation() adds them (the mean's sum from the first sample, the sums of
// products from 0), and finishes with the same divisions and square roots,
// so every variant gives correlation()'s bits. A division by a power of two
// and the multiplication by its reciprocal round the same exact quotient;
// the multiplication is the cheaper (with windows of 0.16 s at 200 Hz the
// divisor n - 1 is 32).
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "toolbox/correlation_kernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>

#include "toolbox/stats.hpp"

HWY_BEFORE_NAMESPACE();
namespace zyn::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

using Doubles = hn::ScalableTag<double>;
// Up to this many vectors of windows advance together: one window's sums
// are a chain of dependent additions, and several chains keep the adders
// busy.
constexpr std::size_t kMaxGroupsSideBySide = 4;

// The correlations of Groups vectors of windows of n samples starting at y,
// y + 1, ... (lane l of group g: the window at y + g * lanes + l) into out.
template <std::size_t Groups, bool DivisorIsPowerOfTwo>
HWY_INLINE void correlate_groups(const CentredSeries& x, const double* y, std::size_t n, double sqrtCxx,
                                 double* out) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  const double nm1 = static_cast<double>(n) - 1.0;
  const auto per_degree_of_freedom = [&](hn::Vec<Doubles> v) {
    if constexpr (DivisorIsPowerOfTwo) {
      return hn::Mul(v, hn::Set(d, 1.0 / nm1));
    } else {
      return hn::Div(v, hn::Set(d, nm1));
    }
  };
  hn::Vec<Doubles> s[Groups], mean[Groups], syy[Groups], sxy[Groups];
  for (std::size_t g = 0; g < Groups; ++g) s[g] = hn::LoadU(d, y + g * lanes);
  for (std::size_t k = 1; k < n; ++k) {
    for (std::size_t g = 0; g < Groups; ++g) s[g] = hn::Add(s[g], hn::LoadU(d, y + g * lanes + k));
  }
  for (std::size_t g = 0; g < Groups; ++g) {
    mean[g] = hn::Div(s[g], hn::Set(d, static_cast<double>(n)));
    syy[g] = hn::Zero(d);
    sxy[g] = hn::Zero(d);
  }
  for (std::size_t k = 0; k < n; ++k) {
    const auto t = hn::Set(d, x.values[k]);
    for (std::size_t g = 0; g < Groups; ++g) {
      const auto c = hn::Sub(hn::LoadU(d, y + g * lanes + k), mean[g]);
      syy[g] = hn::Add(syy[g], hn::Mul(c, c));
      sxy[g] = hn::Add(sxy[g], hn::Mul(t, c));
    }
  }
  const auto spreadX = hn::Set(d, sqrtCxx);
  for (std::size_t g = 0; g < Groups; ++g) {
    const auto r = hn::Div(per_degree_of_freedom(sxy[g]), hn::Mul(hn::Sqrt(per_degree_of_freedom(syy[g])), spreadX));
    hn::StoreU(r, d, out + g * lanes);
  }
}

template <bool DivisorIsPowerOfTwo>
void correlate_up_to_four_groups(std::size_t groups, const CentredSeries& x, const double* y, std::size_t n,
                                 double sqrtCxx, double* out) {
  static_assert(kMaxGroupsSideBySide == 4);
  switch (groups) {
    case 1: correlate_groups<1, DivisorIsPowerOfTwo>(x, y, n, sqrtCxx, out); break;
    case 2: correlate_groups<2, DivisorIsPowerOfTwo>(x, y, n, sqrtCxx, out); break;
    case 3: correlate_groups<3, DivisorIsPowerOfTwo>(x, y, n, sqrtCxx, out); break;
    default: correlate_groups<4, DivisorIsPowerOfTwo>(x, y, n, sqrtCxx, out); break;
  }
}

bool is_power_of_two(double v) {
  int exponent = 0;
  return v > 0.0 && std::frexp(v, &exponent) == 0.5;
}

void window_correlations_lanes(const CentredSeries& x, std::span<const double> y, std::size_t first,
                               std::size_t count, std::span<double> out) {
  const Doubles d;
  const std::size_t lanes = hn::Lanes(d);
  const std::size_t n = x.values.size();
  std::size_t u = 0;
  if (n >= 2) {
    const double nm1 = static_cast<double>(n) - 1.0;
    const double sqrtCxx = std::sqrt(x.sumSquares / nm1);
    const bool powerOfTwo = is_power_of_two(nm1);
    HWY_ALIGN double results[kMaxGroupsSideBySide * HWY_MAX_BYTES / sizeof(double)];
    while (u < count) {
      // A last group may run past count (its extra windows are dropped) as
      // long as its windows stay inside y; otherwise whole groups only, and
      // the rest one window at a time.
      std::size_t groups = std::min(kMaxGroupsSideBySide, (count - u + lanes - 1) / lanes);
      if (first + u + groups * lanes - 1 + n > y.size()) groups = (count - u) / lanes;
      if (groups == 0) break;
      const double* windows = y.data() + first + u;
      if (powerOfTwo) {
        correlate_up_to_four_groups<true>(groups, x, windows, n, sqrtCxx, results);
      } else {
        correlate_up_to_four_groups<false>(groups, x, windows, n, sqrtCxx, results);
      }
      const std::size_t done = std::min(groups * lanes, count - u);
      std::copy_n(results, done, out.begin() + static_cast<std::ptrdiff_t>(u));
      u += done;
    }
  }
  for (; u < count; ++u) out[u] = correlation(x, y.subspan(first + u, n));
}

}  // namespace zyn::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zyn {

HWY_EXPORT(window_correlations_lanes);

void window_correlations(const CentredSeries& x, std::span<const double> y, std::size_t first, std::size_t count,
                         std::span<double> out) {
  HWY_DYNAMIC_DISPATCH(window_correlations_lanes)(x, y, first, count, out);
}

}  // namespace zyn
#endif  // HWY_ONCE
