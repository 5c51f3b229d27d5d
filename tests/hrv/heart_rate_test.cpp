// Heart rate from the trimmed mean of all RR intervals and from the median RR.
#include <gtest/gtest.h>

#include <cmath>
#include <algorithm>
#include <random>

#include "hrv/hrv.hpp"
#include "hrv_test_support.hpp"
#include "zynecgsolver/hrv.h"
#include "zynecgsolver/rt_nonfinite.h"

namespace {
using hrvtest::IntColumn;
using hrvtest::peaks_from_intervals;

double trimmed(const std::vector<int32_t>& normal, const std::vector<int32_t>& extra) {
  IntColumn n(normal);
  IntColumn e(extra);
  return m_calcHRsys(n.get(), static_cast<int32_T>(normal.size()), e.get(),
                     static_cast<int32_T>(extra.size()), 200);
}

TEST(TrimmedMeanHeartRate, KnownAnswersOfTheTrimmingRule) {
  EXPECT_EQ(trimmed({100, 300}, {}), 60.0);  // one interval of 200 samples
  // d = [200, 200, 300]: m = 3 keeps all, 60 / (233.33 / 200) = 51.43.
  EXPECT_EQ(trimmed({0, 700}, {400, 200}), 51.0);
  // [100, 200, 200, 200, 1000]: m = 5 trims one at each end.
  EXPECT_EQ(trimmed(peaks_from_intervals(0, {100, 200, 200, 200, 1000}), {}), 60.0);
  // m = 20 drops two at each end: 16 intervals of 100 survive, 1 and 1000 do not.
  std::vector<int32_t> rr(16, 100);
  rr.insert(rr.end(), {1, 1, 1000, 1000});
  EXPECT_EQ(trimmed(peaks_from_intervals(0, rr), {}), 120.0);
  // m = 19 drops only one at each end: a 1 and a 1000 stay in the mean.
  std::vector<int32_t> rr19(15, 100);
  rr19.insert(rr19.end(), {1, 1, 1000, 1000});
  const double mean = (15 * 100.0 + 1 + 1000) / 17.0;  // samples
  EXPECT_EQ(trimmed(peaks_from_intervals(0, rr19), {}), std::round(60.0 / (mean / 200.0)));
}

TEST(TrimmedMeanHeartRate, OrderAndSplitDoNotMatter) {
  std::mt19937 rng(7);
  std::uniform_int_distribution<int32_t> interval(120, 260);
  for (int trial = 0; trial < 20; ++trial) {
    std::vector<int32_t> peaks{500};
    for (int i = 0; i < 60; ++i) peaks.push_back(peaks.back() + interval(rng));
    const double reference = trimmed(peaks, {});
    std::vector<int32_t> normal;
    std::vector<int32_t> extra;
    std::shuffle(peaks.begin(), peaks.end(), rng);
    for (std::size_t i = 0; i < peaks.size(); ++i) (i % 3 == 0 ? extra : normal).push_back(peaks[i]);
    EXPECT_EQ(trimmed(normal, extra), reference);
  }
}

TEST(TrimmedMeanHeartRate, CountsLimitTheBeatsAndNegativeCountsMeanNone) {
  IntColumn normal({100, 300, 500, 9000});
  IntColumn extra({700});
  EXPECT_EQ(m_calcHRsys(normal.get(), 3, extra.get(), -5, 200), 60.0);
  EXPECT_TRUE(std::isnan(m_calcHRsys(normal.get(), -1, extra.get(), 1, 200)));
  EXPECT_TRUE(std::isnan(m_calcHRsys(normal.get(), 0, extra.get(), 0, 200)));
  EXPECT_TRUE(std::isnan(m_calcHRsys(normal.get(), 1, extra.get(), 0, 200)));
  // Counts beyond the arrays are clamped to their lengths.
  EXPECT_EQ(m_calcHRsys(normal.get(), 3, extra.get(), 99, 200), 60.0);
  EXPECT_TRUE(std::isinf(trimmed({100, 100}, {})));  // a zero mean interval
}

TEST(MedianHeartRate, KnownAnswers) {
  IntColumn even({100, 300, 500, 700});
  EXPECT_EQ(calcHRvar(even.get(), 4, 200), 60.0);
  IntColumn pair({0, 150, 350});
  EXPECT_EQ(calcHRvar(pair.get(), 3, 200), 69.0);  // median 175 -> 68.57
  IntColumn two({0, 150});
  EXPECT_EQ(calcHRvar(two.get(), 2, 200), 80.0);
  IntColumn odd({0, 300, 400, 600});  // RR 300, 100, 200: median 200
  EXPECT_EQ(calcHRvar(odd.get(), 4, 200), 60.0);
  IntColumn repeated({10, 10, 10});
  EXPECT_TRUE(std::isinf(calcHRvar(repeated.get(), 3, 200)));
  EXPECT_TRUE(std::isnan(calcHRvar(repeated.get(), 1, 200)));
  // n beyond the column is clamped.
  EXPECT_EQ(calcHRvar(even.get(), 40, 200), 60.0);
  EXPECT_EQ(zyn::heart_rate_from_median_rr(std::vector<int32_t>{100, 300, 500, 700}, 4, 200), 60.0);
}

TEST(EntryUnitLifecycle, InitialiseSetsNonFiniteConstants) {
  toCompile_initialize();
  calcHRvar_initialize();
  EXPECT_TRUE(std::isinf(rtInf));
  calcHRvar_terminate();
  toCompile_terminate();
}

}  // namespace
