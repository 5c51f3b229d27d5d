// Heart rate from the trimmed mean of all RR intervals and from the median RR.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

#include "common/records.hpp"
#include "zynecgsolver/hrv.h"

namespace {
using namespace zyn::testing;

double trimmed(const std::vector<int32_t>& normal, const std::vector<int32_t>& extra,
               int32_T nNormal = -9, int32_T nExtra = -9) {
  const auto count = [](int32_T n, std::size_t size) { return n == -9 ? static_cast<int32_T>(size) : n; };
  return m_calcHRsys(record(normal).get(), count(nNormal, normal.size()), record(extra).get(),
                     count(nExtra, extra.size()), 200);
}

double median_rate(const std::vector<int32_t>& peaks, int32_T n) {
  return calcHRvar(record(peaks).get(), n, 200);
}

TEST(TrimmedMeanHeartRate, KnownAnswersOfTheTrimmingRule) {
  EXPECT_EQ(trimmed({100, 300}, {}), 60.0);
  EXPECT_EQ(trimmed({0, 700}, {400, 200}), 51.0);  // [200 200 300] all kept: 51.43
  EXPECT_EQ(trimmed(peaks_from_intervals(0, {100, 200, 200, 200, 1000}), {}), 60.0);  // k = 1
  std::vector<int32_t> rr(16, 100);
  rr.insert(rr.end(), {1, 1, 1000, 1000});
  EXPECT_EQ(trimmed(peaks_from_intervals(0, rr), {}), 120.0);  // m = 20: two off each end
  rr.erase(rr.begin());                                        // m = 19: one off each end
  EXPECT_EQ(trimmed(peaks_from_intervals(0, rr), {}), std::round(60.0 / ((1501.0 + 1000) / 17 / 200)));
}

TEST(TrimmedMeanHeartRate, CountsOrderAndSplitOfTheBeats) {
  EXPECT_EQ(trimmed({100, 300, 500, 9000}, {700}, 3, -5), 60.0);  // negative count: none
  EXPECT_EQ(trimmed({100, 300, 500, 9000}, {700}, 3, 99), 60.0);  // clamped to the array
  EXPECT_TRUE(std::isnan(trimmed({100}, {300}, -1, 1)));          // a single beat
  EXPECT_TRUE(std::isnan(trimmed({}, {})));
  EXPECT_TRUE(std::isinf(trimmed({100, 100}, {})));  // zero mean interval
  std::mt19937 rng(7);
  for (int trial = 0; trial < 10; ++trial) {
    std::vector<int32_t> peaks{500};
    for (int i = 0; i < 60; ++i) peaks.push_back(peaks.back() + 120 + static_cast<int32_t>(rng() % 140));
    const double reference = trimmed(peaks, {});
    std::shuffle(peaks.begin(), peaks.end(), rng);
    const std::vector<int32_t> extra(peaks.begin(), peaks.begin() + 20);
    EXPECT_EQ(trimmed(std::vector<int32_t>(peaks.begin() + 20, peaks.end()), extra), reference);
  }
}

TEST(MedianHeartRate, KnownAnswers) {
  EXPECT_EQ(median_rate({100, 300, 500, 700}, 4), 60.0);
  EXPECT_EQ(median_rate({0, 150, 350}, 3), 69.0);  // median 175: 68.57
  EXPECT_EQ(median_rate({0, 150}, 2), 80.0);
  EXPECT_EQ(median_rate({0, 300, 400, 600}, 4), 60.0);    // unsorted RR 300 100 200
  EXPECT_EQ(median_rate({100, 300, 500, 700}, 40), 60.0);  // n clamped to the column
  EXPECT_TRUE(std::isinf(median_rate({10, 10, 10}, 3)));
  EXPECT_TRUE(std::isnan(median_rate({10, 10, 10}, 1)));
}

}  // namespace
