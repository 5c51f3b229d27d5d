// Elementwise operations and reductions over sample vectors (see
// reductions.hpp). No sampling rate or unit is assumed; positions are 1-based
// doubles. Sums add in strictly ascending position everywhere, so every mean,
// variance and column sum of the library is formed in one order.
#include "toolbox/reductions.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <vector>

#include "runtime/scalar.hpp"

namespace zyn {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// The running extreme: the candidate is taken unless the running value wins
// the comparison outright, so a NaN is taken over and displaced again.
double keep_larger(double running, double x) { return running > x ? running : x; }
double keep_smaller(double running, double x) { return running < x ? running : x; }

template <class Keep>
double scan_extreme(std::span<const double> x, Keep keep) {
  if (x.empty()) return kNaN;
  double running = x[0];
  for (std::size_t k = 1; k < x.size(); ++k) running = keep(running, x[k]);
  return running;
}

template <class F>
std::vector<double> map_elements(std::span<const double> x, F f) {
  std::vector<double> y(x.size());
  std::transform(x.begin(), x.end(), y.begin(), f);
  return y;
}

}  // namespace

// --- Maxima and minima ------------------------------------------------------

double max_value(std::span<const double> x) { return scan_extreme(x, keep_larger); }
double min_value(std::span<const double> x) { return scan_extreme(x, keep_smaller); }

MaxWithPosition max_with_position(std::span<const double> x) {
  if (x.empty()) return {kNaN, 0.0};
  MaxWithPosition best{x[0], 1.0};
  for (std::size_t k = 1; k < x.size(); ++k) {
    if (x[k] > best.value) best = {x[k], static_cast<double>(k + 1)};
  }
  return best;
}

double larger_of(double a, double b) { return a >= b ? a : b; }
double smaller_of(double a, double b) { return b >= a ? a : b; }
double smaller_of_pair(double first, double second) { return first < second ? first : second; }

std::vector<double> row_maxima(std::span<const double> matrix, int32_t rows, int32_t cols) {
  const auto n_rows = static_cast<std::size_t>(std::max(rows, 0));
  const auto n_cols = static_cast<std::size_t>(std::max(cols, 0));
  std::vector<double> maxima(n_rows, kNaN);
  if (n_cols == 0 || matrix.size() < n_rows * n_cols) return maxima;
  for (std::size_t i = 0; i < n_rows; ++i) {
    double running = matrix[i];
    for (std::size_t j = 1; j < n_cols; ++j) running = keep_larger(running, matrix[i + j * n_rows]);
    maxima[i] = running;
  }
  return maxima;
}

double value_range(std::span<const double> x) { return max_value(x) - min_value(x); }

// --- Sums, means, medians, variances ----------------------------------------

double sum(std::span<const double> x) {
  if (x.empty()) return 0.0;
  double s = x[0];  // starting from the first element keeps the sign of a lone -0
  for (std::size_t k = 1; k < x.size(); ++k) s += x[k];
  return s;
}

double count_true(std::span<const unsigned char> flags) {
  const auto is_set = [](unsigned char f) { return f != 0; };
  return static_cast<double>(std::count_if(flags.begin(), flags.end(), is_set));
}

std::vector<double> column_sums(std::span<const double> matrix, int32_t rows, int32_t cols) {
  const auto n_rows = static_cast<std::size_t>(std::max(rows, 0));
  const auto n_cols = static_cast<std::size_t>(std::max(cols, 0));
  if (matrix.size() < n_rows * n_cols) return std::vector<double>(n_cols, kNaN);
  std::vector<double> sums(n_cols, 0.0);
  for (std::size_t j = 0; j < n_cols; ++j) sums[j] = sum(matrix.subspan(j * n_rows, n_rows));
  return sums;
}

double mean(std::span<const double> x) { return sum(x) / static_cast<double>(x.size()); }

double variance(std::span<const double> x) {
  const std::size_t n = x.size();
  if (n == 0) return kNaN;
  const double m = mean(x);
  double ss = (x[0] - m) * (x[0] - m);
  for (std::size_t k = 1; k < n; ++k) ss += (x[k] - m) * (x[k] - m);
  return ss / static_cast<double>(n >= 2 ? n - 1 : n);
}

double standard_deviation(std::span<const double> x) { return std::sqrt(variance(x)); }

// --- Differences ------------------------------------------------------------

std::vector<double> diff(std::span<const double> x) {
  std::vector<double> y(x.size() < 2 ? 0 : x.size() - 1);
  diff_into(x, y);
  return y;
}

void diff_into(std::span<const double> x, std::span<double> y) {
  if (x.size() < 2) return;
  const std::size_t n = std::min(y.size(), x.size() - 1);
  for (std::size_t k = 0; k < n; ++k) y[k] = x[k + 1] - x[k];
}

// --- Division, powers, remainder, absolute value -----------------------------

std::vector<double> divide_elementwise(std::span<const double> x, std::span<const double> y) {
  std::vector<double> z(x.size());
  for (std::size_t k = 0; k < x.size(); ++k) z[k] = x[k] / (k < y.size() ? y[k] : kNaN);
  return z;
}

std::vector<double> scale_by_reciprocal(std::span<const double> x, double s) {
  const double r = 1.0 / s;
  return map_elements(x, [r](double v) { return v * r; });
}

std::vector<double> squares(std::span<const double> x) {
  return map_elements(x, [](double v) { return pow_snf(v, 2.0); });
}

std::vector<double> cubes(std::span<const double> x) {
  return map_elements(x, [](double v) { return pow_snf(v, 3.0); });
}

double mod2(double x) { return x - 2.0 * floor_trunc(0.5 * x); }

std::vector<double> mod2(std::span<const double> x) {
  return map_elements(x, [](double v) { return mod2(v); });
}

std::vector<double> abs_values(std::span<const double> x) {
  return map_elements(x, [](double v) { return std::fabs(v); });
}

// --- Shapes, tests and fills --------------------------------------------------

double length_of(int32_t rows, int32_t cols) {
  if (rows <= 0 || cols <= 0) return 0.0;
  return static_cast<double>(std::max(rows, cols));
}

bool all_nonzero(std::span<const unsigned char> flags) {
  return std::all_of(flags.begin(), flags.end(), [](unsigned char f) { return f != 0; });
}

bool same_values(std::span<const double> a, std::span<const double> b) {
  const std::size_t n = std::min(a.size(), b.size());
  for (std::size_t k = 0; k < n; ++k) {
    if (a[k] < b[k] || a[k] > b[k]) return false;
  }
  return true;
}

std::vector<double> repeated(double value, double count) {
  if (!(count >= 1.0)) return {};
  const double whole = std::trunc(std::min(count, static_cast<double>(std::numeric_limits<int32_t>::max())));
  return std::vector<double>(static_cast<std::size_t>(whole), value);
}

}  // namespace zyn
