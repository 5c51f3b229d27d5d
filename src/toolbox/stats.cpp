// Covariances, correlations and the kurtosis (see stats.hpp).
//
// Unit-free: every quantity is formed from deviations from the mean (mean =
// sum in ascending position / n) and their cross products (added in
// ascending position from 0), divided by n - 1. The correlation of a
// template with many windows of a signal is the lane kernel of
// correlation_kernels.cpp, which gives correlation()'s bits.
#include "toolbox/stats.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "runtime/scalar.hpp"
#include "toolbox/reductions.hpp"

namespace zyn {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
// Sample covariance matrix (cols x cols, column-major) of the columns of a
// rows x cols matrix: column means removed, divisor rows - 1; no rows gives
// NaN and one row zeros.
std::vector<double> covariance_matrix(std::span<const double> X, std::size_t rows, std::size_t cols) {
  std::vector<double> C(cols * cols, rows == 0 ? kNaN : 0.0);
  if (rows < 2) return C;
  std::vector<double> centred(X.begin(), X.begin() + static_cast<std::ptrdiff_t>(rows * cols));
  for (std::size_t j = 0; j < cols; ++j) {
    const auto column = std::span<double>(centred).subspan(j * rows, rows);
    const double m = mean(column);
    for (double& v : column) v -= m;
  }
  const auto divisor = static_cast<double>(rows - 1);
  for (std::size_t j = 0; j < cols; ++j) {
    for (std::size_t i = 0; i <= j; ++i) {
      const double* a = centred.data() + i * rows;
      const double* b = centred.data() + j * rows;
      const double s = cross_product(std::span<const double>(a, rows), std::span<const double>(b, rows));
      C[i + j * cols] = C[j + i * cols] = s / divisor;
    }
  }
  return C;
}

// Diagonal of the coefficient matrix: 1 for a positive variance, NaN for a
// variance that is zero, negative or NaN.
double self_correlation(double variance_value) { return variance_value > 0.0 ? 1.0 : kNaN; }

}  // namespace

CentredSeries centre(std::span<const double> x) {
  CentredSeries c;
  const double m = mean(x);
  c.values.resize(x.size());
  for (std::size_t k = 0; k < x.size(); ++k) c.values[k] = x[k] - m;
  c.sumSquares = cross_product(c.values, c.values);
  return c;
}

double cross_product(std::span<const double> a, std::span<const double> b) {
  const std::size_t n = std::min(a.size(), b.size());
  double s = 0.0;
  for (std::size_t k = 0; k < n; ++k) s += a[k] * b[k];
  return s;
}

double correlation(const CentredSeries& x, std::span<const double> y) {
  const std::size_t n = y.size();
  if (n != x.values.size() || n < 2) return kNaN;  // one sample: zero covariance over zero spread
  const double nm1 = static_cast<double>(n) - 1.0;
  const CentredSeries cy = centre(y);
  const double cxx = x.sumSquares / nm1;
  const double cyy = cy.sumSquares / nm1;
  const double cxy = cross_product(x.values, cy.values) / nm1;
  return cxy / (std::sqrt(cyy) * std::sqrt(cxx));
}

// A coefficient as it is stored: rounding may never push it beyond +-1.
double correlation_coefficient(double covariance, double firstSpread, double secondSpread) {
  const double r = covariance / firstSpread / secondSpread;
  return std::fabs(r) > 1.0 ? r / std::fabs(r) : r;
}

std::array<double, 4> covariance(std::span<const double> x, std::span<const double> y) {
  const std::size_t n = x.size();
  std::vector<double> pair(2 * n, kNaN);  // the n x 2 matrix [x y]
  std::copy(x.begin(), x.end(), pair.begin());
  std::copy_n(y.begin(), std::min(n, y.size()), pair.begin() + static_cast<std::ptrdiff_t>(n));
  const std::vector<double> C = covariance_matrix(pair, n, 2);
  return {C[0], C[1], C[2], C[3]};
}

double corr(std::span<const double> x, std::span<const double> y) {
  if (y.size() < x.size()) return kNaN;  // the missing samples count as NaN
  return correlation(centre(x), y.first(x.size()));
}

void corrcoef(std::span<const double> X, int32_t rows, int32_t cols, std::vector<double>& R) {
  const auto n_rows = static_cast<std::size_t>(std::max(rows, 0));
  const auto n_cols = static_cast<std::size_t>(std::max(cols, 0));
  if (X.size() < n_rows * n_cols) {  // storage shorter than the extents claim
    R.assign(n_cols * n_cols, kNaN);
    return;
  }
  const std::vector<double> C = covariance_matrix(X, n_rows, n_cols);
  std::vector<double> d(n_cols);
  for (std::size_t i = 0; i < n_cols; ++i) d[i] = std::sqrt(C[i + i * n_cols]);
  R.assign(n_cols * n_cols, 0.0);
  for (std::size_t j = 0; j < n_cols; ++j) {
    for (std::size_t i = 0; i < j; ++i) {
      R[i + j * n_cols] = R[j + i * n_cols] = correlation_coefficient(C[i + j * n_cols], d[i], d[j]);
    }
    R[j + j * n_cols] = self_correlation(C[j + j * n_cols]);
  }
}

double kurtosis(std::span<double> x) {
  const auto n = static_cast<double>(x.size());
  const double m = sum(x) / n;
  for (double& v : x) v -= m;
  double fourth = 0.0;
  double second = 0.0;
  if (!x.empty()) {
    fourth = pow_snf(x[0], 4.0);
    second = pow_snf(x[0], 2.0);
  }
  for (std::size_t k = 1; k < x.size(); ++k) {
    fourth += pow_snf(x[k], 4.0);
    second += pow_snf(x[k], 2.0);
  }
  return (fourth / n) / pow_snf(second / n, 2.0);
}

}  // namespace zyn
