// Time-domain statistics over 300 s segments.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>

#include "hrv/time_domain.hpp"
#include "zynecgsolver/hrv.h"

namespace {
using V = std::vector<double>;
using Record = std::array<double, 7>;
using namespace zyn;

Record stats(const V& t, const V& rr, const std::string& flags, int32_t* segments = nullptr) {
  Record out{};
  const int32_t k = nn_statistics(t, rr, flags, out);
  if (segments != nullptr) *segments = k;
  return out;
}

// An interval is NN only after a normal beat and never first; pNN50 counts
// successive differences strictly above 50 ms.
TEST(NNStatistics, NNIntervalsAndTheFiftyMillisecondThreshold) {
  Record r = stats({0, 1, 2, 3, 4}, {0.8, 1.0, 1.2, 0.9, 1.1}, "NNVNN");
  EXPECT_DOUBLE_EQ(r[kNnRatio], 2.0 / 5.0);  // intervals 2 and 5
  EXPECT_DOUBLE_EQ(r[kAvnn], 1.05);
  EXPECT_NEAR(r[kSdnn], 0.05 * M_SQRT2, 1e-12);                 // sample sd of {1.0, 1.1}
  EXPECT_TRUE(std::isnan(r[kRmssd]) && std::isnan(r[kPnn50]));  // no two NN in a row
  // Differences 0.05 (not above the threshold), 0.0500001 and -0.2.
  r = stats({0, 1, 2, 3, 4}, {1.0, 0.75, 0.8, 0.8500001, 0.6500001}, "NNNNN");
  EXPECT_DOUBLE_EQ(r[kPnn50], 2.0 / 3.0);
  EXPECT_NEAR(r[kRmssd], std::sqrt((0.0025 + 0.0025 + 0.04) / 3.0), 1e-7);
  // A difference of exactly the threshold, kPnn50ThresholdSeconds, is not above it.
  EXPECT_EQ(stats({0, 1, 2}, {1.0, 0.04, 0.0900000001}, "NNN")[kPnn50], 0.0);
  EXPECT_EQ(0.0900000001 - 0.04, kPnn50ThresholdSeconds);
}

TEST(NNStatistics, SegmentBoundariesAtExactly300Seconds) {
  int32_t segments = 0;
  Record r = stats({0, 100, 200, 300, 400, 500}, {0.8, 1.0, 1.2, 0.5, 0.7, 0.6}, "NNNNNN", &segments);
  EXPECT_EQ(segments, 2);  // t = 300 opens the second segment
  EXPECT_NEAR(r[kSdann], 0.25 * M_SQRT2, 1e-12);                 // sd of the means 1.1 and 0.6
  EXPECT_NEAR(r[kSdnnIdx], (0.1 * M_SQRT2 + 0.1) / 2.0, 1e-12);  // sd {1.0, 1.2} and {0.5, 0.7, 0.6}
  // A segment with one NN interval is ignored; one segment left: sdann -1, 0 after calcHrvTime.
  const V t{0, 100, 300, 400, 500}, rr{0.8, 1.0, 0.5, 0.7, 0.6};
  r = stats(t, rr, "NNNNN");
  EXPECT_EQ(r[kSdann], -1.0);
  EXPECT_NEAR(r[kSdnnIdx], 0.1, 1e-12);
  int32_t status = 9;
  time_domain_hrv(t, rr, "NNNNN", r, status);
  EXPECT_EQ(r[kSdann], 0.0);
  EXPECT_EQ(status, 0);
}

TEST(NNStatistics, GapOfMoreThanOneSegmentClosesTheAdvancedSlotWithZeros) {
  // [0, 300) holds three NN intervals; t = 1000 skips the segments ending at
  // 600 and 900: their intervals are summarised in slot 2 with mean 0, sd 0.
  int32_t segments = 0;
  const Record r = stats({0, 100, 200, 250, 1000, 1100, 1150}, {0.9, 1.0, 1.1, 1.2, 0.5, 0.6, 0.8},
                         "NNNNNNN", &segments);
  EXPECT_EQ(segments, 4);
  EXPECT_NEAR(r[kSdann], (1.9 / 3.0) / M_SQRT2, 1e-12);           // sd {0, 1.9 / 3}
  EXPECT_NEAR(r[kSdnnIdx], std::sqrt(0.07 / 3.0) / 2.0, 1e-12);  // sd {0.5, 0.6, 0.8} = sqrt(0.07 / 3)
  EXPECT_DOUBLE_EQ(r[kAvnn], (1.0 + 1.1 + 1.2 + 0.5 + 0.6 + 0.8) / 6.0);
  // t = 600 after the end 300 is no gap: it closes [0, 300), and 700 >= 600 closes again.
  const Record e = stats({0, 100, 200, 600, 700}, {0.9, 1.0, 1.1, 0.5, 0.6}, "NNNNN", &segments);
  EXPECT_EQ(segments, 3);
  EXPECT_NEAR(e[kSdnnIdx], 0.05 * M_SQRT2, 1e-12);
  stats({0, 1, INFINITY, 1e300}, {1, 1, 1, 1}, "NNNN", &segments);  // the walk stays bounded
  EXPECT_GT(segments, 2);
}

TEST(NNStatistics, EmptySeriesThroughTheCInterface) {
  Record out{};
  int32_T status = 3;
  EXPECT_EQ(calcHrvTime(nullptr, nullptr, nullptr, 0, out.data(), &status), 1);
  EXPECT_EQ(std::tuple(out[kNnRatio], out[kSdann], out[kSdnnIdx], status), std::tuple(0.0, 0.0, -1.0, 0));
  EXPECT_TRUE(std::isnan(out[kAvnn]) && std::isnan(out[kSdnn]) && std::isnan(out[kRmssd]) &&
              std::isnan(out[kPnn50]));
  EXPECT_EQ(calcStatNN(nullptr, nullptr, nullptr, -4, out.data()), 1);
}

}  // namespace
