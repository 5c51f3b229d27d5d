// Linear-time window and set kernels used by the beat detector.
//
// Sliding maxima and minima over centred windows, capped distinct-value counts
// and a selection-based median. Each gives the same numbers as the plain
// definition (the maximum of a window is one of its samples; a median is the
// same pair of order statistics however they are found) while costing O(n)
// instead of O(n * window) or O(n log n).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zyn::beats {

// out[k] = max (min) of x[k - half .. k + half] for every k whose window lies
// inside x; other entries of out are left untouched. out has x's length.
void sliding_max_centred(std::span<const double> x, std::size_t half, std::span<double> out);
void sliding_min_centred(std::span<const double> x, std::size_t half, std::span<double> out);

// Number of distinct values in x (exact equality, +0 and -0 equal, every NaN
// distinct), counted only up to cap: the result is min(count, cap).
std::size_t count_distinct_up_to(std::span<const double> x, std::size_t cap);

// Median of x: the middle order statistic, or for an even count the two
// middle ones combined as lower + (upper - lower) / 2 when both have one sign
// and are finite, else (lower + upper) / 2. NaN for an empty x; NaN samples
// sort last, as in a full ascending sort.
double median_of(std::span<const double> x);

// Moving average of odd width 2 * ceil(span / 2) - 1 centred on each sample;
// near the ends the mean of the samples that exist. Fewer than 2 samples or a
// width below 2 leave x unchanged.
void smooth_in_place(std::vector<double>& x, double span);

// Index of the first largest element under the running rule "replace when
// strictly greater" (0-based; 0 for an empty or all-NaN-led input).
std::size_t first_max_index(std::span<const double> x);

}  // namespace zyn::beats
