// Smoothing and statistics: smoother widths, ends and short input, agreement
// with a direct per-sample mean on long random signals, and known answers of
// the covariance, correlations and kurtosis.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <tuple>
#include <vector>

#include "runtime/emx.hpp"
#include "common/records.hpp"
#include "common/synthetic_ecg.hpp"
#include "toolbox/stats.hpp"
#include "zynecgsolver/toolbox_stats.h"

namespace {

using namespace zyn::testing;

std::vector<double> smoothed(std::vector<double> x, double span) {
  auto r = column_of(x);
  m_refp1_smooth_emlc(r.get(), span);
  const auto e = zyn::elements(r.get());
  return {e.begin(), e.end()};
}

// The mean of the samples that exist within half samples of each position.
std::vector<double> direct_moving_mean(const std::vector<double>& x, std::size_t half) {
  std::vector<double> y(x.size());
  for (std::size_t i = 0; i < x.size(); ++i) {
    const std::size_t first = i > half ? i - half : 0;
    const std::size_t last = std::min(x.size() - 1, i + half);
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
  const std::vector<double> y{3, -1, 4, 1, -5};
  for (double span : {0.5, 1.0, 2.0}) EXPECT_EQ(smoothed(y, span), y);
  EXPECT_EQ(smoothed({7.0}, 50.0), std::vector<double>{7.0});
  EXPECT_TRUE(smoothed({}, 5.0).empty());
  // An even span narrows; the ends average the samples that exist.
  const std::vector<double> x{1, 2, 3, 4, 10};
  const std::vector<double> three{1.5, 2, 3, 17.0 / 3.0, 7};
  EXPECT_EQ(smoothed(x, 4.0), three);
  EXPECT_EQ(smoothed(x, 3.0), three);
  const std::vector<double> five{2, 2.5, 4, 19.0 / 4.0, 17.0 / 3.0};
  EXPECT_EQ(smoothed(x, 4.2), five);
  EXPECT_EQ(smoothed({2, 4}, 1e9), (std::vector<double>{3, 3}));  // wider than the signal
}

// Long signal whose first 3000 samples are huge artefacts: inside their reach
// the slide agrees with a direct mean to 1e-12 of the value; past it no trace
// of their rounding may stay in the running window sum (a plain running sum
// keeps it), and the far end averages the samples that exist.
TEST(Smoother, AgreesWithADirectMeanAndLargeArtefactsLeaveNoResidue) {
  std::mt19937_64 rng(3);
  std::uniform_real_distribution<double> huge(-1e9, 1e9);
  std::vector<double> x = synthetic_ecg(30000, 200.0, 75.0, 5);
  for (std::size_t i = 0; i < 3000; ++i) x[i] = huge(rng);
  for (double span : {3.0, 4.0, 40.0, 41.0, 600.0}) {
    const auto half = static_cast<std::size_t>((zyn::smoothing_width(span) - 1) / 2);
    const auto got = smoothed(x, span);
    const auto want = direct_moving_mean(x, half);
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < got.size(); ++i) {
      const double tolerance = i < 3000 + half ? 1e-12 * std::fabs(want[i]) : 1e-13;
      ASSERT_NEAR(got[i], want[i], tolerance) << "span " << span << " at " << i;
    }
  }
}

TEST(Smoother, NonFiniteSamplesOnlyReachTheirOwnWindows) {
  std::vector<double> x(40, 1.0);
  x[10] = kInf;
  x[20] = kNaN;
  const auto y = smoothed(x, 5.0);  // half-width 2
  for (std::size_t i = 0; i < y.size(); ++i) {
    if (i >= 18 && i <= 22) {
      EXPECT_TRUE(std::isnan(y[i])) << i;
    } else {
      EXPECT_EQ(y[i], i >= 8 && i <= 12 ? kInf : 1.0) << i;
    }
  }
}

// Finite signals take a leaner slide than signals holding a non-finite
// sample; away from that sample both must give the same bits.
TEST(Smoother, OneFarNonFiniteSampleLeavesOtherWindowsBitIdentical) {
  std::mt19937 rng(11);
  std::normal_distribution<double> noise(0.0, 1e3);
  std::vector<double> x(5000);
  for (double& v : x) v = noise(rng);
  for (const double span : {5.0, 41.0, 601.0}) {
    std::vector<double> spoiled = x;
    spoiled.back() = kNaN;
    const auto clean = smoothed(x, span);
    const auto withNaN = smoothed(spoiled, span);
    const std::size_t reach = static_cast<std::size_t>(span) / 2 + 1;
    for (std::size_t i = 0; i + reach < x.size(); ++i) ASSERT_EQ(clean[i], withNaN[i]) << span << " at " << i;
  }
}

// The baseline-free signal is the signal minus its smoothing, bit for bit,
// with finite and non-finite samples, and for signals too short to smooth.
TEST(Smoother, SubtractedSmoothingIsTheSignalMinusItsSmoothing) {
  std::mt19937 rng(5);
  std::normal_distribution<double> noise(0.0, 1e2);
  std::vector<double> x(3000);
  for (double& v : x) v = noise(rng);
  std::vector<double> spoiled = x;
  spoiled[1000] = kNaN;
  spoiled[2000] = std::numeric_limits<double>::infinity();
  for (const auto& signal : {x, spoiled, std::vector<double>{4.0}, std::vector<double>{kNaN, 1.0}}) {
    for (const double span : {1.0, 5.0, 40.0, 601.0}) {
      const std::vector<double> mean = smoothed(signal, span);
      std::vector<double> residual(signal.size());
      zyn::subtract_moving_average(signal, residual, span);
      for (std::size_t i = 0; i < signal.size(); ++i) {
        const double expected = signal[i] - mean[i];
        ASSERT_TRUE(residual[i] == expected || (std::isnan(residual[i]) && std::isnan(expected))) << span << " at " << i;
      }
    }
  }
}

TEST(Covariance, KnownAnswersAndDegenerateLengths) {
  double C[4];
  m_cov(column_of({1, 2, 3, 4}).get(), column_of({2, 4, 6, 9}).get(), C);
  EXPECT_EQ(C[0], 5.0 / 3.0);
  EXPECT_EQ(C[1], 11.5 / 3.0);
  EXPECT_EQ(C[2], C[1]);
  EXPECT_EQ(C[3], 26.75 / 3.0);
  m_cov(column_of({3}).get(), column_of({8}).get(), C);
  EXPECT_EQ(std::vector<double>(C, C + 4), std::vector<double>(4, 0.0));
  m_cov(column_of({}).get(), column_of({}).get(), C);
  EXPECT_TRUE(std::all_of(C, C + 4, [](double c) { return std::isnan(c); }));
}

TEST(Correlation, LinearAndDegenerateInput) {
  EXPECT_NEAR(m_corr_emlc(column_of({1, 2, 3, 4}).get(), column_of({3, 5, 7, 9}).get()), 1.0, 1e-15);
  EXPECT_NEAR(m_corr_emlc(column_of({1, 2, 3}).get(), column_of({3, 2, 1}).get()), -1.0, 1e-15);
  EXPECT_EQ(m_corr_emlc(column_of({1, 2, 3, 4}).get(), column_of({1, -1, -1, 1}).get()), 0.0);
  EXPECT_TRUE(std::isnan(m_corr_emlc(column_of({2, 2, 2}).get(), column_of({1, 5, 3}).get())));
  EXPECT_TRUE(std::isnan(m_corr_emlc(column_of({2}).get(), column_of({1}).get())));
}

TEST(CorrelationMatrix, KnownAnswersConstantColumnAndBounds) {
  // Columns: x, 2x + 1, -x, a constant.
  auto R = zyn::make_record<emxArray_real_T>(2);
  m_corrcoef(real_array(3, 4, {1, 2, 4, 3, 5, 9, -1, -2, -4, 7, 7, 7}).get(), R.get());
  ASSERT_EQ(R->size[0], 4);
  ASSERT_EQ(R->size[1], 4);
  const auto r = [&](int i, int j) { return R->data[i + 4 * j]; };
  EXPECT_EQ(std::tuple(r(0, 0), r(1, 1), r(0, 2)), std::tuple(1.0, 1.0, -1.0));
  EXPECT_NEAR(r(0, 1), 1.0, 1e-15);
  EXPECT_EQ(r(1, 0), r(0, 1));
  EXPECT_TRUE(std::isnan(r(3, 3)));
  EXPECT_TRUE(std::isnan(r(0, 3)));

  std::mt19937_64 rng(11);
  std::normal_distribution<double> g(0.0, 1.0);
  std::vector<double> X(50 * 6);
  for (std::size_t k = 0; k < X.size(); ++k) X[k] = k >= 50 && k < 100 ? X[k - 50] * 3.0 : g(rng);
  std::vector<double> out;
  zyn::corrcoef(X, 50, 6, out);
  ASSERT_EQ(out.size(), 36u);
  for (double v : out) EXPECT_LE(std::fabs(v), 1.0);
  EXPECT_NEAR(out[1], 1.0, 1e-15);

  m_corrcoef(real_array(0, 2, {}).get(), R.get());
  ASSERT_EQ(R->size[0], 2);
  for (int k = 0; k < 4; ++k) EXPECT_TRUE(std::isnan(R->data[k]));
}

TEST(Kurtosis, MomentRatioAndCentringInPlace) {
  auto x = column_of({3, 5, 3, 5, 3, 5});
  EXPECT_EQ(m_kurtosis_emlc(x.get()), 1.0);
  EXPECT_EQ(std::pair(x->data[0], x->data[1]), std::pair(-1.0, 1.0));  // centred in place
  // Deviations {-2, -1, 0, 1, 2}: (34 / 5) / (10 / 5)^2.
  EXPECT_EQ(m_kurtosis_emlc(column_of({1, 2, 3, 4, 5}).get()), 1.7);
  EXPECT_TRUE(std::isnan(m_kurtosis_emlc(column_of({}).get())));
  std::vector<double> spiky(100, 0.0);
  spiky[50] = 1.0;
  EXPECT_NEAR(zyn::kurtosis(spiky), 98.0102, 1e-4);
}

}  // namespace
