// Linear-time window and set kernels used by the beat detector.
//
// Sliding maxima and ranges over centred windows, capped distinct-value counts
// and a moving average whose short windows are summed directly. Each gives
// the same numbers as the plain definition (the maximum of a window is one of
// its samples) while costing O(n) instead of O(n * window) or O(n log n).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zyn::beats {

// out[k] = max of x[k - half .. k + half] for every k whose window lies
// inside x; other entries of out are left untouched. out has x's length.
void sliding_max_centred(std::span<const double> x, std::size_t half, std::span<double> out);
// out[k] = max - min of x[k - half .. k + half], same coverage as above.
void sliding_range_centred(std::span<const double> x, std::size_t half, std::span<double> out);
// True when the extreme of any window of x is one value whatever the order
// of comparisons: no NaN and no negative zero.
bool extremes_are_order_free(std::span<const double> x);

// Number of distinct values in x (exact equality, +0 and -0 equal, every NaN
// distinct), counted only up to cap: the result is min(count, cap).
std::size_t count_distinct_up_to(std::span<const double> x, std::size_t cap);

// Moving average of odd width 2 * ceil(span / 2) - 1 centred on each sample;
// near the ends the mean of the samples that exist. Fewer than 2 samples or a
// width below 2 leave x unchanged. Windows of up to 2 * kDirectSumHalfWidth + 1
// samples are summed directly in sample order (so any stretch of a signal
// smooths to the same interior values as the whole signal); wider ones go to
// the toolbox's running-sum smoother.
inline constexpr std::size_t kDirectSumHalfWidth = 4;
void smooth_in_place(std::vector<double>& x, double span);
// The same smoothing of x into out (resized to x's length; no overlap).
void smooth_into(std::span<const double> x, std::vector<double>& out, double span);
// The directly summed smoothing of x into out (x's length; no overlap).
void smooth_direct(std::span<const double> x, std::span<double> out, std::size_t half);
// The directly summed moving average of x at index k (window clipped to x).
double smoothed_sample(std::span<const double> x, std::size_t k, std::size_t half);
// The half width that smooth_in_place uses for a span (0 when it does nothing).
std::size_t smoothing_half_width(double span);

// Index of the first largest element under the running rule "replace when
// strictly greater" (0-based; 0 for an empty or all-NaN-led input).
std::size_t first_max_index(std::span<const double> x);

}  // namespace zyn::beats
