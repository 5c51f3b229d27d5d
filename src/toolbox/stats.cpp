// Smoothing and statistics used by beat classification (see stats.hpp).
//
// The smoother works in samples: its span comes from the caller already
// converted from seconds at 200 Hz. It keeps a running window sum, so its cost
// is linear in the signal length whatever the span. To keep that sum as
// accurate as a direct per-sample sum, the running sum is compensated
// (Neumaier): the low-order bits lost at each addition or removal are carried
// in a second term, so no error accumulates over a long recording, and
// non-finite samples are counted apart so that one of them only affects the
// windows that contain it. Covariances are sample covariances (divisor n - 1);
// every sum adds in ascending position.
#include "toolbox/stats.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "runtime/scalar.hpp"
#include "runtime/simd.hpp"
#include "toolbox/reductions.hpp"

namespace zyn {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
// Widths beyond this exceed any addressable signal; clamping keeps the
// conversion from double defined.
constexpr double kLargestWidthSamples = 9007199254740991.0;  // 2^53 - 1

// A compensated running sum of finite values (Neumaier): the carry gains the
// rounding error of each addition.
class CompensatedSum {
 public:
  // The larger and smaller terms are selected rather than branched on, since
  // either may be larger from one sample to the next.
  void add(double v) {
    const double t = sum_ + v;
    const bool sumIsLarger = std::fabs(sum_) >= std::fabs(v);
    const double larger = sumIsLarger ? sum_ : v;
    const double smaller = sumIsLarger ? v : sum_;
    carry_ += (larger - t) + smaller;
    sum_ = t;
  }
  double value() const { return sum_ + carry_; }

 private:
  double sum_ = 0.0;
  double carry_ = 0.0;
};

// Sum of the samples in the smoothing window: finite samples in a compensated
// sum, non-finite ones counted by kind, so that adding and then removing a
// sample leaves the sum as it was.
class WindowSum {
 public:
  void add(double v) { update(v, +1); }
  void remove(double v) { update(v, -1); }

  // The mean over count samples, with the IEEE result of a direct sum when the
  // window holds infinities or NaN.
  double mean_over(std::size_t count) const {
    if (nans_ > 0 || (positive_infinities_ > 0 && negative_infinities_ > 0)) return kNaN;
    if (positive_infinities_ > 0) return kInf;
    if (negative_infinities_ > 0) return -kInf;
    return finite_.value() / static_cast<double>(count);
  }

 private:
  void update(double v, int direction) {
    if (std::isnan(v)) {
      nans_ += direction;
    } else if (std::isinf(v)) {
      (v > 0.0 ? positive_infinities_ : negative_infinities_) += direction;
    } else {
      finite_.add(direction > 0 ? v : -v);
    }
  }

  CompensatedSum finite_;
  long nans_ = 0;
  long positive_infinities_ = 0;
  long negative_infinities_ = 0;
};

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
      double s = a[0] * b[0];
      for (std::size_t k = 1; k < rows; ++k) s += a[k] * b[k];
      C[i + j * cols] = C[j + i * cols] = s / divisor;
    }
  }
  return C;
}

// A correlation coefficient as it is stored: rounding may never push it
// beyond +-1.
double clamped_to_unit(double r) { return std::fabs(r) > 1.0 ? r / std::fabs(r) : r; }

// Diagonal of the coefficient matrix: 1 for a positive variance, NaN for a
// variance that is zero, negative or NaN.
double self_correlation(double variance_value) { return variance_value > 0.0 ? 1.0 : kNaN; }

}  // namespace

int64_t smoothing_width(double span) {
  if (!(span > 0.0)) return 1;
  const double width = 2.0 * ceil_trunc(span / 2.0) - 1.0;
  return static_cast<int64_t>(std::min(width, kLargestWidthSamples));
}

namespace {

// True when no sample is infinite or NaN (exponent field all ones).
ZYN_WIDEST_VECTORS bool all_finite(std::span<const double> x) {
  constexpr uint64_t kExponent = 0x7FF0000000000000ULL;
  uint64_t nonFinite = 0;
  for (double v : x) nonFinite |= static_cast<uint64_t>((std::bit_cast<uint64_t>(v) & kExponent) == kExponent);
  return nonFinite == 0;
}

// The window means of smooth_moving_average for a window sum type, handed
// to emit(i, mean) in sample order: the window of sample 0 is [0, half]
// (clipped to the signal), and each slide takes in at most one sample on the
// right and lets out one on the left.
template <class Sum, class Emit>
void slide_window_means(std::span<const double> x, std::size_t half, Emit emit) {
  const std::size_t n = x.size();
  Sum window;
  std::size_t last = std::min(half, n - 1);
  for (std::size_t k = 0; k <= last; ++k) window.add(x[k]);
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t first = i > half ? i - half : 0;
    emit(i, window.mean_over(last - first + 1));
    if (i + half + 1 < n) window.add(x[++last]);
    if (i >= half) window.remove(x[i - half]);
  }
}

// The finite-only window sum: without sorting each sample into finite and
// non-finite, the slide is a third cheaper, and for finite samples the
// means are those of WindowSum.
class FiniteWindowSum {
 public:
  void add(double v) { sum_.add(v); }
  void remove(double v) { sum_.add(-v); }
  double mean_over(std::size_t count) const { return sum_.value() / static_cast<double>(count); }

 private:
  CompensatedSum sum_;
};

}  // namespace

namespace {

// Calls emit(i, mean) with the mean of every sample's window of
// smoothing_width(span) samples; false (and no call) when x is shorter than
// 2 samples or the width is 1, which leave a signal unsmoothed.
template <class Emit>
bool for_each_window_mean(std::span<const double> x, double span, Emit emit) {
  const std::size_t n = x.size();
  const int64_t width = smoothing_width(span);
  if (n < 2 || width <= 1) return false;
  // Samples on each side of the centre; a window wider than the signal covers
  // all of it.
  const std::size_t half = static_cast<std::size_t>(std::min<int64_t>((width - 1) / 2, static_cast<int64_t>(n)));
  if (all_finite(x)) {
    slide_window_means<FiniteWindowSum>(x, half, emit);
  } else {
    slide_window_means<WindowSum>(x, half, emit);
  }
  return true;
}

}  // namespace

void smooth_moving_average(std::span<const double> x, std::span<double> out, double span) {
  const std::size_t n = std::min(x.size(), out.size());
  const bool smoothed = for_each_window_mean(x.first(n), span, [out](std::size_t i, double mean) { out[i] = mean; });
  if (!smoothed && out.data() != x.data()) std::copy_n(x.begin(), n, out.begin());
}

void subtract_moving_average(std::span<const double> x, std::span<double> out, double span) {
  const std::size_t n = std::min(x.size(), out.size());
  const bool smoothed =
      for_each_window_mean(x.first(n), span, [x, out](std::size_t i, double mean) { out[i] = x[i] - mean; });
  if (!smoothed) {
    for (std::size_t i = 0; i < n; ++i) out[i] = x[i] - x[i];  // the unsmoothed signal is its own mean
  }
}

void smooth_moving_average(std::span<double> x, double span) {
  const std::vector<double> original(x.begin(), x.end());
  smooth_moving_average(original, x, span);
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
  const std::array<double, 4> C = covariance(x, y);
  return C[2] / (std::sqrt(C[3]) * std::sqrt(C[0]));
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
      R[i + j * n_cols] = R[j + i * n_cols] = clamped_to_unit(C[i + j * n_cols] / d[i] / d[j]);
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
