// The centred moving average (see stats.hpp): its definition, the direct
// form for short windows and the running-sum form for any width.
//
// Spans and widths are in samples (callers convert seconds at 200 Hz); the
// means are in the samples' unit. The direct form sums every window in
// sample order, several full windows side by side in vector lanes
// (moving_average_kernels.cpp), giving the definition's bits. The running
// form keeps a window sum whose cost is linear in the signal length whatever
// the span; to keep that sum as accurate as a direct per-sample sum it is
// compensated (Neumaier): the low-order bits lost at each addition or
// removal are carried in a second term, so no error accumulates over a long
// recording, and non-finite samples are counted apart so that one of them
// only affects the windows that contain it.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "runtime/scalar.hpp"
#include "toolbox/moving_average_kernels.hpp"
#include "toolbox/stats.hpp"

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

}  // namespace

int64_t smoothing_width(double span) {
  if (!(span > 0.0)) return 1;
  const double width = 2.0 * ceil_trunc(span / 2.0) - 1.0;
  return static_cast<int64_t>(std::min(width, kLargestWidthSamples));
}

std::size_t smoothing_half_width(double span) {
  const int64_t width = smoothing_width(span);
  return static_cast<std::size_t>((width - 1) / 2);
}

double moving_average_at(std::span<const double> x, std::size_t k, std::size_t half) {
  const std::size_t lo = k > half ? k - half : 0;
  const std::size_t hi = std::min(x.size(), k + half + 1);
  double sum = 0.0;
  for (std::size_t i = lo; i < hi; ++i) sum += x[i];
  return sum / static_cast<double>(hi - lo);
}

void smooth_directly(std::span<const double> x, std::span<double> out, std::size_t half) {
  const std::size_t n = std::min(x.size(), out.size());
  const std::size_t head = std::min(half, n);
  const std::size_t whole = n > 2 * half ? n - 2 * half : 0;  // windows inside the signal
  for (std::size_t k = 0; k < head; ++k) out[k] = moving_average_at(x.first(n), k, half);
  full_window_means(x.data(), out.data() + head, whole, half);
  for (std::size_t k = head + whole; k < n; ++k) out[k] = moving_average_at(x.first(n), k, half);
}

namespace {

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

}  // namespace zyn
