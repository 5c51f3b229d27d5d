// Elementwise operations and reductions over sample vectors: extremes (with and
// without their position), sums, means, medians, variances, first differences,
// divisions, powers, the remainder after division by 2, absolute values,
// lengths, equality tests and constant fills.
//
// Everything works on plain doubles with no assumption about units or sampling
// rate. Positions are 1-based and returned as doubles, as the analysis code
// uses them. Sums add in strictly ascending position, everywhere, so that a
// mean, a variance or a column sum is the same number whichever routine forms
// it. Matrices are column-major (element (i, j), 1-based, at (i-1) + (j-1)*rows).
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace zyn {

// --- Maxima and minima ------------------------------------------------------

// Largest / smallest value, scanning in ascending position: running = the
// larger (smaller) of running and the next element, a NaN element being taken
// over and displaced by the next one. Empty input gives NaN.
double max_value(std::span<const double> x);
double min_value(std::span<const double> x);

// Largest value and its 1-based position; a strictly larger element is needed
// to move, so ties keep the earliest position. Empty input gives NaN at 0.
struct MaxWithPosition {
  double value;
  double position;
};
MaxWithPosition max_with_position(std::span<const double> x);

// a when a >= b, else b: the first on ties, the second when either is NaN.
double larger_of(double a, double b);
// a when b >= a, else b: the first on ties, the second when either is NaN.
double smaller_of(double a, double b);
// p[0] when p[0] < p[1], else p[1].
double smaller_of_pair(double first, double second);

// Largest value of each row of a rows x cols column-major matrix (rows
// values; NaN for every row when there are no columns or the storage is
// shorter than the extents).
std::vector<double> row_maxima(std::span<const double> matrix, int32_t rows, int32_t cols);

// max_value(x) - min_value(x).
double value_range(std::span<const double> x);

// --- Sums, means, medians, variances ----------------------------------------

// Sum in ascending position; 0 for empty input.
double sum(std::span<const double> x);
// Number of nonzero flags, as a double.
double count_true(std::span<const unsigned char> flags);
// Sum of each column of a rows x cols matrix (cols values; zeros when rows == 0,
// NaN when the storage is shorter than the extents).
std::vector<double> column_sums(std::span<const double> matrix, int32_t rows, int32_t cols);
// sum(x) / size; empty input gives 0/0 = NaN.
double mean(std::span<const double> x);

// Median: the middle of the stable ascending order (NaN after every number);
// for an even count, lower + (upper - lower) / 2 when both middles have the
// same sign and are finite, else (lower + upper) / 2. Empty input gives NaN.
// Works on a copy; x is not modified.
double median(std::span<const double> x);

// The median of each window of `width` samples of x that starts at one of
// `starts` (0-based) into the same place of out: the values of median(),
// found for eight short windows at a time.
void window_medians(std::span<const double> x, std::span<const std::size_t> starts, std::size_t width,
                    std::span<double> out);

// Sample variance (divisor n - 1, or n for one element, so one element gives
// 0); NaN for empty input. standard_deviation is its square root.
double variance(std::span<const double> x);
double standard_deviation(std::span<const double> x);

// --- Differences ------------------------------------------------------------

// First differences y[k] = x[k+1] - x[k] (n - 1 values; none for n < 2).
std::vector<double> diff(std::span<const double> x);
// The same into caller storage; writes min(y.size(), x.size() - 1) values.
void diff_into(std::span<const double> x, std::span<double> y);

// --- Division, powers, remainder, absolute value -----------------------------

// x[k] / y[k] for every position of x; a position beyond y divides by NaN.
std::vector<double> divide_elementwise(std::span<const double> x, std::span<const double> y);
// x[k] * (1 / s): the reciprocal is formed once (may differ from x[k] / s in
// the last bit, deliberately).
std::vector<double> scale_by_reciprocal(std::span<const double> x, double s);

// Elementwise x^2 and x^3 by the power rule of the runtime (pow_snf).
std::vector<double> squares(std::span<const double> x);
std::vector<double> cubes(std::span<const double> x);

// x - 2 * floor(0.5 * x): 1 for odd integers (negative ones too), 0 for even
// ones, the remainder in [0, 2) otherwise.
double mod2(double x);
std::vector<double> mod2(std::span<const double> x);

// Elementwise absolute value.
std::vector<double> abs_values(std::span<const double> x);

// --- Shapes, tests and fills --------------------------------------------------

// 0 when either extent is 0, otherwise the larger extent.
double length_of(int32_t rows, int32_t cols);

// True when every flag is nonzero (true for empty input).
bool all_nonzero(std::span<const unsigned char> flags);

// True when no pair a[k] < b[k] or a[k] > b[k] exists over the common length
// (two NaN compare equal, deliberately); the caller checks the shapes first.
bool same_values(std::span<const double> a, std::span<const double> b);

// count copies of value; count is truncated toward zero, below 1 gives none.
std::vector<double> repeated(double value, double count);

}  // namespace zyn
