// Smoothing and statistics used by beat classification: the centred moving
// average, the 2 x 2 sample covariance of two vectors, their correlation
// coefficient (also of a template with every window of a signal), the
// correlation-coefficient matrix of the columns of a matrix and the (plain
// moment-ratio) kurtosis. Each quantity has one definition here; the fast
// forms beside it give its values (moving_average.cpp, correlation.cpp and
// their *_kernels.cpp).
//
// Units are those of the input samples; the smoother's span is in samples
// (callers turn seconds into samples from the 200 Hz rate). Covariances use
// the divisor n - 1; correlations are not clamped except in the matrix form.
// Means add in ascending position from the first element, as in the
// reductions; sums of products add in ascending position from 0.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zyn {

// --- Moving average -----------------------------------------------------------

// Odd window width of the smoother for a span in samples: 2 * ceil(span / 2) - 1
// (span 4 -> 3, 5 -> 5, 4.2 -> 5); never below 1, and 1 for a span that is not
// a positive number.
int64_t smoothing_width(double span);
// Samples on each side of the centre of that window: (width - 1) / 2, 0 when
// the span leaves a signal unsmoothed.
std::size_t smoothing_half_width(double span);

// The definition: the mean of x[k - half .. k + half] clipped to x, its sum
// added in sample order from 0.
double moving_average_at(std::span<const double> x, std::size_t k, std::size_t half);

// moving_average_at for every sample into out (x's length; no overlap), the
// full windows side by side in vector lanes: the same bits, so any stretch
// of a signal smooths to the same interior values as the whole signal.
// Meant for short windows (its cost grows with the width).
void smooth_directly(std::span<const double> x, std::span<double> out, std::size_t half);

// Replaces each sample by the mean of the window of smoothing_width(span)
// samples centred on it, taken from the unsmoothed input; near the ends the
// mean is over the samples that exist. Fewer than 2 samples, or a width of 1,
// leave x unchanged. Linear in x.size() whatever the span: a compensated
// running sum slides along the signal, so its means agree with
// moving_average_at to the rounding of the last division (not bit for bit).
void smooth_moving_average(std::span<double> x, double span);
// The same smoothing of x written to out (out must not overlap x; the
// shorter of the two lengths is used).
void smooth_moving_average(std::span<const double> x, std::span<double> out, double span);
// out = x minus that smoothing of x, sample by sample (the same values as
// smoothing into a second array and subtracting it, without that array).
void subtract_moving_average(std::span<const double> x, std::span<double> out, double span);

// --- Covariance and correlation -----------------------------------------------

// A series minus its mean, with the sum of squares of those deviations.
struct CentredSeries {
  std::vector<double> values;
  double sumSquares = 0.0;
};
CentredSeries centre(std::span<const double> x);

// Sum of a[k] * b[k] in ascending position from 0, over the shorter length.
double cross_product(std::span<const double> a, std::span<const double> b);

// The sample correlation coefficient of x (centred) with y, not clamped:
// cov(x, y) / (sqrt(var y) * sqrt(var x)), each a cross product of the
// deviations divided by n - 1. NaN when the lengths differ, for fewer than 2
// samples and for a constant series.
double correlation(const CentredSeries& x, std::span<const double> y);

// correlation(x, window) of the `count` windows of x.values.size() samples
// of y starting at first, first + 1, ...: out[u] for the window at first + u
// (windows must lie inside y). The same bits as correlation(), several
// windows side by side in vector lanes.
void window_correlations(const CentredSeries& x, std::span<const double> y, std::size_t first, std::size_t count,
                         std::span<double> out);

// An entry of the correlation-coefficient matrix: the covariance of two
// columns divided by the first column's spread (standard deviation), then by
// the second's; a rounding overshoot past +-1 is clamped to its sign.
double correlation_coefficient(double covariance, double firstSpread, double secondSpread);

// 2 x 2 sample covariance of (x, y), column-major: {var x, cov, cov, var y}.
// Empty input gives all NaN, one sample all 0. y is read over x's length
// (missing samples count as NaN).
std::array<double, 4> covariance(std::span<const double> x, std::span<const double> y);

// correlation(centre(x), y over x's length): a constant input or a single
// sample gives NaN, and so does a y shorter than x.
double corr(std::span<const double> x, std::span<const double> y);

// Correlation coefficients between the cols columns of the rows x cols matrix
// X (rows are observations). R becomes cols x cols, column-major; entry
// (i, j), i < j, is correlation_coefficient(cov of i and j, spread of i,
// spread of j); a diagonal entry is 1, or NaN where the column's variance is
// not positive.
void corrcoef(std::span<const double> X, int32_t rows, int32_t cols, std::vector<double>& R);

// The most typical column of the rows x cols matrix X (column-major, one
// series of `rows` samples per column): 0-based index of the column whose
// entries of corrcoef(X) add up highest (in row order, from 0), the first of
// equal sums (a NaN sum never wins over an earlier column). The same
// column as summing the whole matrix, from about one dot product per column
// in all but near-ties (most_correlated.cpp). 0 without columns.
std::size_t most_correlated_column(std::span<const double> X, std::size_t rows, std::size_t cols);

// Plain kurtosis (mean of d^4) / (mean of d^2)^2 of the deviations d from the
// mean: about 3 for normal data, not reduced by 3. Centres x in place. Empty
// input gives NaN.
double kurtosis(std::span<double> x);

}  // namespace zyn
