// Finding true elements of masks and samples within an interval or above a
// threshold, integer ranges and the stable ascending sort.
//
// These routines carry no units: they work on sample positions, intervals or
// amplitudes alike. Every position they return is 1-based (position 1 is the
// first element of the span), as the analysis code indexes its arrays that way.
// The sort is stable: NaN sorts after every number, and equal values (and
// NaNs among themselves) keep their input order. A stable sort's permutation
// is unique, so the methods behind it give the same one: input already in
// order is kept, 256 values or more are put in order by a radix sort of
// order-preserving integer keys, fewer by std::stable_sort.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace zyn {

// 1-based positions of the true (non-zero) elements of a mask, ascending.
std::vector<int32_t> true_positions(std::span<const unsigned char> mask);

// Elements of x below low, and within [low, high] (a NaN is neither).
struct IntervalCounts {
  std::size_t below;
  std::size_t inside;
};
IntervalCounts count_within(std::span<const double> x, double low, double high);

// The elements of x within [low, high], in input order; `inside` is their
// count, as count_within gives it.
std::vector<double> elements_within(std::span<const double> x, double low, double high, std::size_t inside);
// Their 1-based positions, ascending.
std::vector<int64_t> positions_within(std::span<const double> x, double low, double high, std::size_t inside);

// 1-based positions of the elements of x above threshold (never a NaN),
// ascending.
std::vector<int64_t> positions_above(std::span<const double> x, double threshold);

// 1-based position of the first / last true element; empty when none is true.
std::optional<int32_t> first_true_position(std::span<const unsigned char> mask);
std::optional<int32_t> last_true_position(std::span<const unsigned char> mask);

// The range 1, 2, ..., n; empty for n < 1.
std::vector<int32_t> integer_colon(int32_t n);

// The sort order: a may precede b when a <= b or b is NaN (NaN sorts last).
bool precedes_or_equals(double a, double b);

// 1-based permutation p such that values[p[0]-1], values[p[1]-1], ... is
// ascending by precedes_or_equals; stable (ties and NaNs keep input order).
std::vector<int32_t> sort_permutation(std::span<const double> values);

// The values sorted ascending by the same rule (NaNs last).
std::vector<double> sorted_ascending(std::span<const double> values);

// Sorts integers ascending in place.
void sort_ascending_in_place(std::span<int32_t> values);

}  // namespace zyn
