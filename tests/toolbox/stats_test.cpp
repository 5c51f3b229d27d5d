// Smoothing and statistics: smoother widths, ends and short input, agreement
// with a direct per-sample mean on long random signals, the reach of
// non-finite samples, and known answers of the covariance, correlations and
// kurtosis.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>
#include <tuple>
#include <vector>

#include "common/every_variant.hpp"
#include "common/records.hpp"
#include "common/synthetic_ecg.hpp"
#include "runtime/emx.hpp"
#include "toolbox/moving_average_kernels.hpp"
#include "toolbox/stats.hpp"
#include "zynecgsolver/toolbox_stats.h"

namespace {

using namespace zyn::testing;
using V = std::vector<double>;

bool same_bits(double a, double b) { return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b); }

V smoothed(const V& x, double span) {
  auto r = column_of(x);
  m_refp1_smooth_emlc(r.get(), span);
  const auto e = zyn::elements(r.get());
  return {e.begin(), e.end()};
}

// Samples on each side of the centre of a smoothing window.
std::size_t half_width(double span) { return static_cast<std::size_t>((zyn::smoothing_width(span) - 1) / 2); }

// The mean of the samples that exist within half samples of each position.
V direct_moving_mean(const V& x, std::size_t half) {
  V y(x.size());
  for (std::size_t i = 0; i < x.size(); ++i) {
    const std::size_t first = i > half ? i - half : 0, last = std::min(x.size() - 1, i + half);
    double s = 0.0;
    for (std::size_t k = first; k <= last; ++k) s += x[k];
    y[i] = s / static_cast<double>(last - first + 1);
  }
  return y;
}

TEST(Smoother, WidthsEndsAndShortInput) {
  const std::pair<double, int> widths[] = {{4.0, 3}, {5.0, 5}, {4.2, 5}, {2.0, 1}, {0.3, 1},
                                           {600.0, 599}, {0.0, 1}, {-3.0, 1}, {kNaN, 1}};
  for (const auto& [span, width] : widths) EXPECT_EQ(zyn::smoothing_width(span), width) << span;
  const V y{3, -1, 4, 1, -5};
  for (double span : {0.5, 1.0, 2.0}) EXPECT_EQ(smoothed(y, span), y);
  EXPECT_EQ(smoothed({7.0}, 50.0), V{7.0});
  EXPECT_TRUE(smoothed({}, 5.0).empty());
  // The ends average the samples that exist.
  const V x{1, 2, 3, 4, 10};
  EXPECT_EQ(smoothed(x, 4.0), (V{1.5, 2, 3, 17.0 / 3.0, 7}));
  EXPECT_EQ(smoothed(x, 4.2), (V{2, 2.5, 4, 19.0 / 4.0, 17.0 / 3.0}));
  EXPECT_EQ(smoothed({2, 4}, 1e9), (V{3, 3}));  // wider than the signal
}

// Long signal whose first 3000 samples are huge artefacts: inside their reach
// the slide agrees with a direct mean to 1e-12 of the value; past it no trace
// of their rounding may stay in the running window sum (a plain running sum
// keeps it), and the far end averages the samples that exist.
TEST(Smoother, AgreesWithADirectMeanAndLargeArtefactsLeaveNoResidue) {
  std::mt19937_64 rng(3);
  std::uniform_real_distribution<double> huge(-1e9, 1e9);
  V x = synthetic_ecg(30000, 200.0, 75.0, 5);
  for (std::size_t i = 0; i < 3000; ++i) x[i] = huge(rng);
  for (double span : {3.0, 4.0, 40.0, 41.0, 600.0}) {
    const std::size_t half = half_width(span);
    const V got = smoothed(x, span), want = direct_moving_mean(x, half);
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
      const double tolerance = i < 3000 + half ? 1e-12 * std::fabs(want[i]) : 1e-13;
      ASSERT_NEAR(got[i], want[i], tolerance) << "span " << span << " at " << i;
    }
  }
}

// An infinity makes infinite only the windows that hold it and a NaN only its
// own; windows before the first non-finite sample keep the bits of the leaner
// finite-only slide. The baseline-free signal is the signal minus its
// smoothing bit for bit, also for signals too short to smooth.
TEST(Smoother, NonFiniteSamplesOnlyReachTheirOwnWindows) {
  std::mt19937 rng(11);
  std::normal_distribution<double> noise(0.0, 1e3);
  V x(5000);
  for (double& v : x) v = noise(rng);
  V spoiled = x;
  spoiled[3000] = kInf;
  spoiled[4000] = kNaN;
  for (const double span : {1.0, 5.0, 41.0, 601.0}) {
    SCOPED_TRACE(span);
    const std::size_t half = half_width(span);
    const V clean = smoothed(x, span), dirty = smoothed(spoiled, span);
    for (std::size_t i = 0; i < x.size(); ++i) {
      const auto reaches = [i, half](std::size_t at) { return i + half >= at && i <= at + half; };
      if (reaches(4000)) {
        ASSERT_TRUE(std::isnan(dirty[i])) << i;
      } else if (reaches(3000)) {
        ASSERT_EQ(dirty[i], kInf) << i;
      } else {
        ASSERT_TRUE(i < 3000 ? dirty[i] == clean[i] : std::fabs(dirty[i] - clean[i]) < 1e-9) << i;
      }
    }
    for (const V& signal : {x, spoiled, V{4.0}, V{kNaN, 1.0}}) {
      V residual(signal.size());
      zyn::subtract_moving_average(signal, residual, span);
      const V mean = smoothed(signal, span);
      for (std::size_t i = 0; i < signal.size(); ++i) {
        const double expected = signal[i] - mean[i];
        ASSERT_TRUE(residual[i] == expected || (std::isnan(residual[i]) && std::isnan(expected))) << i;
      }
    }
  }
}

// The direct smoothing is the definition, sample by sample, bit for bit:
// lengths around whole vectors and groups of them, windows wider than the
// signal, the finiteness test that picks the running sum's kind, on every
// processor variant.
ZYN_TEST_ON_EVERY_VARIANT(MovingAverageKernels);
TEST_P(MovingAverageKernels, DirectSmoothingIsTheDefinitionBitForBit) {
  std::mt19937_64 rng(5);
  std::normal_distribution<double> noise(0.0, 1e3);
  for (std::size_t n : {0u, 1u, 2u, 9u, 31u, 64u, 65u, 1000u}) {
    V x(n);
    for (double& v : x) v = noise(rng);
    EXPECT_TRUE(zyn::all_finite(x));
    for (std::size_t half : {1u, 2u, 4u, 7u, 40u}) {
      V out(n, -1.0);
      zyn::smooth_directly(x, out, half);
      for (std::size_t k = 0; k < n; ++k) {
        ASSERT_TRUE(same_bits(out[k], zyn::moving_average_at(x, k, half))) << n << " " << half << " " << k;
      }
    }
    for (double bad : {kInf, -kInf, kNaN}) {
      if (n == 0) continue;
      V spoiled = x;
      spoiled[n - 1] = bad;  // in the tail the lanes leave to the plain loop, or in a lane
      EXPECT_FALSE(zyn::all_finite(spoiled));
      spoiled[n - 1] = x[n - 1];
      spoiled[n / 2] = bad;
      EXPECT_FALSE(zyn::all_finite(spoiled));
    }
  }
  EXPECT_EQ(zyn::smoothing_half_width(4.0), 1u);  // the smoother's width rule
  EXPECT_EQ(zyn::smoothing_half_width(2.0), 0u);
  EXPECT_EQ(zyn::smoothing_half_width(kNaN), 0u);
}

// A template's correlation with every window of a signal is correlation()'s,
// bit for bit: window lengths with a power-of-two divisor and without, runs
// of windows around whole vectors and groups, runs ending at the signal's
// end, constant and non-finite windows.
ZYN_TEST_ON_EVERY_VARIANT(CorrelationKernels);
TEST_P(CorrelationKernels, WindowCorrelationsAreTheDefinitionBitForBit) {
  std::mt19937_64 rng(8);
  std::normal_distribution<double> noise(0.0, 1.0);
  V y(700);
  for (double& v : y) v = noise(rng);
  std::fill(y.begin() + 100, y.begin() + 160, 0.25);  // constant windows: NaN
  y[400] = kInf;
  for (std::size_t n : {1u, 2u, 20u, 33u}) {
    V t(n);
    for (double& v : t) v = noise(rng);
    const zyn::CentredSeries tmpl = zyn::centre(t);
    for (std::size_t count : {1u, 7u, 8u, 33u, 64u, 130u}) {
      for (std::size_t first : {std::size_t{0}, std::size_t{90}, std::size_t{380}, y.size() - n - count + 1}) {
        V out(count);
        zyn::window_correlations(tmpl, y, first, count, out);
        for (std::size_t u = 0; u < count; ++u) {
          const double expected = zyn::correlation(tmpl, std::span<const double>(y).subspan(first + u, n));
          ASSERT_TRUE(same_bits(out[u], expected)) << "n " << n << " first " << first << " u " << u;
        }
      }
    }
  }
}

TEST(Covariance, KnownAnswersDegenerateLengthsAndCorrelation) {
  double C[4];
  m_cov(column_of({1, 2, 3, 4}).get(), column_of({2, 4, 6, 9}).get(), C);
  EXPECT_EQ(V(C, C + 4), (V{5.0 / 3.0, 11.5 / 3.0, 11.5 / 3.0, 26.75 / 3.0}));
  m_cov(column_of({3}).get(), column_of({8}).get(), C);
  EXPECT_EQ(V(C, C + 4), V(4, 0.0));
  m_cov(column_of({}).get(), column_of({}).get(), C);
  EXPECT_TRUE(std::all_of(C, C + 4, [](double c) { return std::isnan(c); }));

  const auto corr = [](const V& x, const V& y) { return m_corr_emlc(column_of(x).get(), column_of(y).get()); };
  EXPECT_NEAR(corr({1, 2, 3, 4}, {3, 5, 7, 9}), 1.0, 1e-15);
  EXPECT_NEAR(corr({1, 2, 3}, {3, 2, 1}), -1.0, 1e-15);
  EXPECT_EQ(corr({1, 2, 3, 4}, {1, -1, -1, 1}), 0.0);
  EXPECT_TRUE(std::isnan(corr({2, 2, 2}, {1, 5, 3})));
  EXPECT_TRUE(std::isnan(corr({2}, {1})));
  EXPECT_TRUE(std::isnan(corr({1, 2, 3}, {1, 2})));                     // y too short
  EXPECT_EQ(corr({1, 2, 3}, {3, 2, 1, 100}), corr({1, 2, 3}, {3, 2, 1}));  // y read over x's length
  // The coefficient from its definition: cov / (sqrt(var y) * sqrt(var x)).
  const V x{0.3, -1.25, 2.5, 7.0, 0.125}, y{1.0, 4.5, -2.0, 3.25, 0.5};
  double mx = 0, my = 0, sxy = 0, sxx = 0, syy = 0;
  for (std::size_t k = 0; k < 5; ++k) mx += x[k] / 5, my += y[k] / 5;
  for (std::size_t k = 0; k < 5; ++k) {
    sxy += (x[k] - mx) * (y[k] - my), sxx += (x[k] - mx) * (x[k] - mx), syy += (y[k] - my) * (y[k] - my);
  }
  EXPECT_NEAR(corr(x, y), sxy / std::sqrt(sxx * syy), 1e-15);
  EXPECT_EQ(zyn::correlation(zyn::centre(x), y), corr(x, y));
}

TEST(CorrelationMatrix, KnownAnswersConstantColumnAndBounds) {
  // Columns: x, 2x + 1, -x, a constant.
  auto R = zyn::make_record<emxArray_real_T>(2);
  m_corrcoef(real_array(3, 4, {1, 2, 4, 3, 5, 9, -1, -2, -4, 7, 7, 7}).get(), R.get());
  ASSERT_EQ(shape(R), (std::vector<int32_t>{4, 4}));
  const auto r = [&](int i, int j) { return R->data[i + 4 * j]; };
  EXPECT_EQ(std::tuple(r(0, 0), r(1, 1), r(0, 2)), std::tuple(1.0, 1.0, -1.0));
  EXPECT_NEAR(r(0, 1), 1.0, 1e-15);
  EXPECT_EQ(r(1, 0), r(0, 1));
  EXPECT_TRUE(std::isnan(r(3, 3)) && std::isnan(r(0, 3)));
  // Rounding never pushes a coefficient beyond 1, not even for a scaled copy.
  std::mt19937_64 rng(11);
  std::normal_distribution<double> g(0.0, 1.0);
  V X(50 * 6), out;
  for (std::size_t k = 0; k < X.size(); ++k) X[k] = k >= 50 && k < 100 ? X[k - 50] * 3.0 : g(rng);
  zyn::corrcoef(X, 50, 6, out);
  ASSERT_EQ(out.size(), 36u);
  for (double v : out) EXPECT_LE(std::fabs(v), 1.0);
  EXPECT_NEAR(out[1], 1.0, 1e-15);
  m_corrcoef(real_array(0, 2, {}).get(), R.get());
  EXPECT_EQ(contents(R).size(), 4u);
  for (double v : contents(R)) EXPECT_TRUE(std::isnan(v));
}

// The most typical column is the first largest column sum of corrcoef(),
// whether the rounding bound settles it or the sums are formed in full:
// independent series, near-identical beats (near-ties the bound cannot
// separate), many identical ones, a constant series and a NaN sample.
TEST(MostCorrelatedColumn, IsTheFirstLargestColumnSumOfTheCoefficientMatrix) {
  std::mt19937_64 rng(21);
  std::normal_distribution<double> noise(0.0, 1.0);
  const std::size_t rows = 33;
  for (int shape = 0; shape < 5; ++shape) {
    for (std::size_t cols : {1u, 2u, 3u, 17u, 60u, 200u}) {
      V beat(rows), X(rows * cols);
      for (double& v : beat) v = noise(rng);
      for (std::size_t j = 0; j < cols; ++j) {
        for (std::size_t k = 0; k < rows; ++k) {
          double& v = X[j * rows + k];
          switch (shape) {
            case 0: v = noise(rng); break;
            case 1: v = beat[k] * (1.0 + 0.01 * static_cast<double>(j % 3)) + 1e-12 * noise(rng); break;
            case 2: v = beat[k]; break;
            case 3: v = j == cols / 2 ? 0.5 : beat[k] + 0.3 * noise(rng); break;
            default: v = j == 1 && k == 4 ? kNaN : beat[k] + 0.3 * noise(rng); break;
          }
        }
      }
      V R;
      zyn::corrcoef(X, static_cast<int32_t>(rows), static_cast<int32_t>(cols), R);
      std::size_t best = 0;
      V sums(cols, 0.0);
      for (std::size_t j = 0; j < cols; ++j) {
        for (std::size_t i = 0; i < cols; ++i) sums[j] += R[i + j * cols];
        if (sums[j] > sums[best]) best = j;
      }
      EXPECT_EQ(zyn::most_correlated_column(X, rows, cols), best) << "shape " << shape << " cols " << cols;
    }
  }
  EXPECT_EQ(zyn::most_correlated_column({}, 33, 0), 0u);
}

TEST(Kurtosis, MomentRatioAndCentringInPlace) {
  auto x = column_of({3, 5, 3, 5, 3, 5});
  EXPECT_EQ(m_kurtosis_emlc(x.get()), 1.0);
  EXPECT_EQ(std::pair(x->data[0], x->data[1]), std::pair(-1.0, 1.0));  // centred in place
  // Deviations {-2, -1, 0, 1, 2}: (34 / 5) / (10 / 5)^2.
  EXPECT_EQ(m_kurtosis_emlc(column_of({1, 2, 3, 4, 5}).get()), 1.7);
  EXPECT_TRUE(std::isnan(m_kurtosis_emlc(column_of({}).get())));
}

}  // namespace
