// Sample-by-sample kernels of the R-peak detector (see the header; the
// window extremes are in window_extreme_kernels.cpp), compiled once per
// processor variant through Highway's dynamic dispatch (runtime/dispatch.hpp). Each
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

}  // namespace zyn::beats::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zyn::beats {

HWY_EXPORT(standard_deviations_from_sums_lanes);
HWY_EXPORT(mark_clear_crossings_lanes);
HWY_EXPORT(sign_steps_about_lanes);
HWY_EXPORT(code_turning_points_lanes);

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
