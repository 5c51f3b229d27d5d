// Kernels of the beat detectors: loops whose lanes are independent (one
// window, one sample, one sum per lane), written for speed and compiled per
// processor variant (runtime/dispatch.hpp). Each gives the bits of the plain
// loop its comment states on every variant.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace zyn::beats {

// sd[j] = sqrt((q[j] - s[j]^2 / width) / dof) for j < count: standard
// deviations of windows from their sums s and sums of squares q.
void standard_deviations_from_sums(const double* s, const double* q, std::size_t count, double width, double dof,
                                   double* sd);

// The threshold test env[k] > noiseWeight * noiseSd[k]^3 + trendWeight *
// trend[k] with the cube taken as two products: mask[k] = 1 where it holds
// beyond a relative 1e-12 of equality, 0 where it fails likewise, and
// kUndecidedCrossing elsewhere (near-ties and NaN), for the caller to settle
// with the library power function. The two cubes differ by a few units in
// the last place at most, so every decided sample agrees with it.
inline constexpr unsigned char kUndecidedCrossing = 2;
void mark_clear_crossings(const double* env, const double* noiseSd, const double* trend, std::size_t n,
                          double noiseWeight, double trendWeight, unsigned char* mask);

// The places j (1-based, 1 <= j < mask.size()) where mask rises from its
// previous sample into rises, and where it falls into falls, in order.
void mask_changes(std::span<const unsigned char> mask, std::vector<std::ptrdiff_t>& rises,
                  std::vector<std::ptrdiff_t>& falls);

// Sum over consecutive samples of |sign(x[k] - mean) - sign(x[k-1] - mean)|,
// a sign being -1, 0 or +1 (0 for an exact zero or NaN): each crossing of
// the mean counts 2.
int64_t sign_steps_about(std::span<const double> x, double mean);

// Turning points: code[k] = kMaximumCode where y rises into k and does not
// rise after it, kMinimumCode where y does not rise into k and rises after
// it, 0 elsewhere, for 0 < k < n - 1 (the ends are not written).
inline constexpr unsigned char kMaximumCode = 1;
inline constexpr unsigned char kMinimumCode = 2;
void code_turning_points(const double* y, std::size_t n, unsigned char* code);

// Centred window maxima and ranges (max - min) of x over 2 * half + 1
// samples into out[half .. n - half - 1], for x free of NaN and negative
// zero (where every window's extreme is one value whatever the order of
// comparisons; see extremes_are_order_free). x must hold a full window.
void sliding_max_order_free(std::span<const double> x, std::size_t half, std::span<double> out);
void sliding_range_order_free(std::span<const double> x, std::size_t half, std::span<double> out);

// The largest sample of non-empty f under the rule "keep unless beaten",
// when f holds no NaN (true); false, and largest untouched, otherwise.
// Without NaN the maximum is one value whatever the order of comparisons, up
// to the sign of a zero maximum.
bool largest_if_no_nan(std::span<const double> f, double& largest);

// True when a sample of f[from .. to] (0-based, inclusive) is at least v.
bool any_at_least(std::span<const double> f, std::size_t from, std::size_t to, double v);

// The largest |x[k]|, at least floor; a NaN sample never raises it.
double largest_magnitude(std::span<const double> x, double floor);

// Sums of Count series given in consecutive pieces (each series' first piece
// non-empty), each added in its own order from its first element. A sum is a
// serial chain of additions; the Count chains advance side by side through
// the middle pieces, so the processor overlaps them.
using Pieces = std::array<std::span<const double>, 3>;
template <std::size_t Count>
std::array<double, Count> ordered_sums(const std::array<Pieces, Count>& xs) {
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

}  // namespace zyn::beats
