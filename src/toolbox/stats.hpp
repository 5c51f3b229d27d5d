// Smoothing and statistics used by beat classification: a centred
// moving-average smoother, the 2 x 2 sample covariance of two vectors, their
// correlation coefficient, the correlation-coefficient matrix of the columns
// of a matrix and the (plain moment-ratio) kurtosis.
//
// Units are those of the input samples; the smoother's span is in samples
// (callers turn seconds into samples from the 200 Hz rate). Covariances use
// the divisor n - 1; correlations are not clamped except in the matrix form.
// Sums add in ascending position, as in the reductions.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace zyn {

// Odd window width of the smoother for a span in samples: 2 * ceil(span / 2) - 1
// (span 4 -> 3, 5 -> 5, 4.2 -> 5); never below 1, and 1 for a span that is not
// a positive number.
int64_t smoothing_width(double span);

// Replaces each sample by the mean of the window of smoothing_width(span)
// samples centred on it, taken from the unsmoothed input; near the ends the
// mean is over the samples that exist. Fewer than 2 samples, or a width of 1,
// leave x unchanged. Linear in x.size() whatever the span.
void smooth_moving_average(std::span<double> x, double span);
// The same smoothing of x written to out (out must not overlap x; the
// shorter of the two lengths is used).
void smooth_moving_average(std::span<const double> x, std::span<double> out, double span);
// out = x minus that smoothing of x, sample by sample (the same values as
// smoothing into a second array and subtracting it, without that array).
void subtract_moving_average(std::span<const double> x, std::span<double> out, double span);

// 2 x 2 sample covariance of (x, y), column-major: {var x, cov, cov, var y}.
// Empty input gives all NaN, one sample all 0. y is read over x's length
// (missing samples count as NaN).
std::array<double, 4> covariance(std::span<const double> x, std::span<const double> y);

// cov(x, y) / (sqrt(var y) * sqrt(var x)), not clamped: a constant input or a
// single sample gives NaN.
double corr(std::span<const double> x, std::span<const double> y);

// Correlation coefficients between the cols columns of the rows x cols matrix
// X (rows are observations). R becomes cols x cols, column-major; off-diagonal
// values are clamped to [-1, 1]; a diagonal entry is 1, or NaN where the
// column's variance is not positive.
void corrcoef(std::span<const double> X, int32_t rows, int32_t cols, std::vector<double>& R);

// Plain kurtosis (mean of d^4) / (mean of d^2)^2 of the deviations d from the
// mean: about 3 for normal data, not reduced by 3. Centres x in place. Empty
// input gives NaN.
double kurtosis(std::span<double> x);

}  // namespace zyn
