// Time-domain statistics over 300 s segments.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>

#include "hrv/time_domain.hpp"
#include "zynecgsolver/hrv.h"

namespace {
using V = std::vector<double>;
using Record = std::array<double, 7>;

struct Series {
  V t;
  V rr;
  std::string flags;
};

Record stats(const Series& s, int32_t* segments = nullptr) {
  Record out{};
  const int32_t k = zyn::nn_statistics(s.t, s.rr, s.flags, out);
  if (segments != nullptr) *segments = k;
  return out;
}

double sample_sd(const V& v) {
  double mean = 0.0;
  for (double x : v) mean += x;
  mean /= static_cast<double>(v.size());
  double ss = 0.0;
  for (double x : v) ss += (x - mean) * (x - mean);
  return std::sqrt(ss / static_cast<double>(v.size() - 1));
}

TEST(NNStatistics, FirstIntervalIsNeverNNAndFlagsNeedTwoNormalBeats) {
  const Series s{{0, 1, 2, 3, 4}, {0.8, 1.0, 1.2, 0.9, 1.1}, "NNVNN"};
  const Record r = stats(s);
  // NN: interval 2 (N after N) and 5 (N after N); 4 follows a V.
  EXPECT_DOUBLE_EQ(r[zyn::kNnRatio], 2.0 / 5.0);
  EXPECT_DOUBLE_EQ(r[zyn::kAvnn], (1.0 + 1.1) / 2.0);
  EXPECT_NEAR(r[zyn::kSdnn], sample_sd({1.0, 1.1}), 1e-12);
  EXPECT_TRUE(std::isnan(r[zyn::kRmssd]));  // no two consecutive NN intervals
  EXPECT_TRUE(std::isnan(r[zyn::kPnn50]));
}

TEST(NNStatistics, SuccessiveDifferencesAndTheFiftyMillisecondThreshold) {
  // Differences 0.05 (exactly at the threshold, not counted), 0.0500001 and -0.2.
  const Series s{{0, 1, 2, 3, 4}, {1.0, 0.75, 0.8, 0.8500001, 0.6500001}, "NNNNN"};
  const Record r = stats(s);
  EXPECT_DOUBLE_EQ(r[zyn::kPnn50], 2.0 / 3.0);
  const double d1 = 0.8 - 0.75;
  const double d2 = 0.8500001 - 0.8;
  const double d3 = 0.6500001 - 0.8500001;
  EXPECT_DOUBLE_EQ(r[zyn::kRmssd], std::sqrt((d1 * d1 + d2 * d2 + d3 * d3) / 3.0));
  const Series exact{{0, 1, 2}, {1.0, 1.0, 1.05}, "NNN"};
  EXPECT_EQ(stats(exact)[zyn::kPnn50], 0.0);  // 1.05 - 1.0 = 0.05000000000000004 <= threshold
}

TEST(NNStatistics, AnIntervalAtExactly300SecondsStartsTheNextSegment) {
  // Segment 1: t = 0, 100, 200; segment 2: t = 300, 400, 500.
  const Series s{{0, 100, 200, 300, 400, 500}, {0.8, 1.0, 1.2, 0.5, 0.7, 0.6}, "NNNNNN"};
  int32_t segments = 0;
  const Record r = stats(s, &segments);
  EXPECT_EQ(segments, 2);
  const double m1 = (1.0 + 1.2) / 2.0;
  const double m2 = (0.5 + 0.7 + 0.6) / 3.0;
  EXPECT_NEAR(r[zyn::kSdann], sample_sd({m1, m2}), 1e-12);
  EXPECT_NEAR(r[zyn::kSdnnIdx], (sample_sd({1.0, 1.2}) + sample_sd({0.5, 0.7, 0.6})) / 2.0, 1e-12);
}

TEST(NNStatistics, SegmentWithFewerThanTwoNNIntervalsIsIgnored) {
  // Segment 1 holds a single NN interval (the first is never NN).
  const Series s{{0, 100, 300, 400, 500}, {0.8, 1.0, 0.5, 0.7, 0.6}, "NNNNN"};
  int32_t segments = 0;
  const Record r = stats(s, &segments);
  EXPECT_EQ(segments, 2);
  EXPECT_EQ(r[zyn::kSdann], -1.0);
  EXPECT_NEAR(r[zyn::kSdnnIdx], sample_sd({0.5, 0.7, 0.6}), 1e-12);
  Record out{};
  int32_t status = 9;
  zyn::time_domain_hrv(s.t, s.rr, s.flags, out, status);
  EXPECT_EQ(out[zyn::kSdann], 0.0);
  EXPECT_EQ(status, 0);
}

TEST(NNStatistics, GapOfMoreThanOneSegmentClosesTheAdvancedSlotWithZeroMeanAndSd) {
  // Segment [0, 300) holds 3 NN intervals, then a jump to t = 1000: segments
  // ending 600 and 900 are skipped and the earlier intervals are summarised
  // in the advanced slot with mean 0 and standard deviation 0.
  const Series s{{0, 100, 200, 250, 1000, 1100, 1150}, {0.9, 1.0, 1.1, 1.2, 0.5, 0.6, 0.8},
                 "NNNNNNN"};
  int32_t segments = 0;
  const Record r = stats(s, &segments);
  // Index: 0 -> 1 + 1 extra step (1000 > 900) = 2, closed, then 3: four segments.
  EXPECT_EQ(segments, 4);
  const double m2 = (0.5 + 0.6 + 0.8) / 3.0;  // the interval at 1000 is NN (its predecessor is N)
  EXPECT_NEAR(r[zyn::kSdann], sample_sd({0.0, m2}), 1e-12);
  EXPECT_NEAR(r[zyn::kSdnnIdx], (0.0 + sample_sd({0.5, 0.6, 0.8})) / 2.0, 1e-12);
  EXPECT_DOUBLE_EQ(r[zyn::kAvnn], (1.0 + 1.1 + 1.2 + 0.5 + 0.6 + 0.8) / 6.0);
  // A jump of exactly one empty segment (t = 600 after segment end 300) is not a gap.
  const Series edge{{0, 100, 200, 600, 700}, {0.9, 1.0, 1.1, 0.5, 0.6}, "NNNNN"};
  int32_t edgeSegments = 0;
  const Record e = stats(edge, &edgeSegments);
  EXPECT_EQ(edgeSegments, 3);  // 600 closes [0, 300); 700 >= 600 closes again
  EXPECT_NEAR(e[zyn::kSdnnIdx], sample_sd({1.0, 1.1}), 1e-12);
}

TEST(NNStatistics, EmptyAndDegenerateInputs) {
  int32_t status = 3;
  Record out{};
  EXPECT_EQ(calcHrvTime(nullptr, nullptr, nullptr, 0, out.data(), &status), 1);
  EXPECT_EQ(out[zyn::kNnRatio], 0.0);
  EXPECT_TRUE(std::isnan(out[zyn::kAvnn]) && std::isnan(out[zyn::kSdnn]));
  EXPECT_TRUE(std::isnan(out[zyn::kRmssd]) && std::isnan(out[zyn::kPnn50]));
  EXPECT_EQ(out[zyn::kSdann], 0.0);
  EXPECT_EQ(out[zyn::kSdnnIdx], -1.0);
  EXPECT_EQ(status, 0);
  // An unbounded time does not hang the segment walk.
  const Series far{{0, 1, INFINITY, 1e300}, {1, 1, 1, 1}, "NNNN"};
  int32_t segments = 0;
  stats(far, &segments);
  EXPECT_GT(segments, 2);
}

TEST(NNStatistics, RandomSeriesAgreeWithADirectComputation) {
  std::mt19937 rng(11);
  std::uniform_real_distribution<double> interval(0.4, 1.4);
  for (int trial = 0; trial < 10; ++trial) {
    Series s;
    double t = 0.0;
    for (int i = 0; i < 1500; ++i) {
      s.rr.push_back(interval(rng));
      s.t.push_back(t);
      t += s.rr.back();
      s.flags.push_back(rng() % 10 == 0 ? 'V' : 'N');
    }
    const Record r = stats(s);
    V nn;
    std::vector<V> segments(20);
    int pairs = 0;
    int large = 0;
    for (std::size_t i = 1; i < s.t.size(); ++i) {
      if (s.flags[i] != 'N' || s.flags[i - 1] != 'N') continue;
      nn.push_back(s.rr[i]);
      segments[static_cast<std::size_t>(s.t[i] / 300.0)].push_back(s.rr[i]);
      if (i >= 2 && s.flags[i - 2] == 'N') {
        ++pairs;
        if (std::fabs(s.rr[i] - s.rr[i - 1]) > 0.05) ++large;
      }
    }
    V means;
    double sdSum = 0.0;
    for (const V& seg : segments) {
      if (seg.size() < 2) continue;
      double m = 0.0;
      for (double v : seg) m += v;
      means.push_back(m / static_cast<double>(seg.size()));
      sdSum += sample_sd(seg);
    }
    EXPECT_NEAR(r[zyn::kSdnn], sample_sd(nn), 1e-12);
    EXPECT_NEAR(r[zyn::kSdann], sample_sd(means), 1e-12);
    EXPECT_NEAR(r[zyn::kSdnnIdx], sdSum / static_cast<double>(means.size()), 1e-12);
    EXPECT_DOUBLE_EQ(r[zyn::kPnn50], static_cast<double>(large) / pairs);
    EXPECT_DOUBLE_EQ(r[zyn::kNnRatio], static_cast<double>(nn.size()) / 1500.0);
  }
}

TEST(AllNormalSeries, IntervalsTimesAndReturnValue) {
  const std::vector<int32_t> peaks{100, 300, 500, 650};
  std::string flags(3, '\0');
  V t(3);
  V rr(3);
  EXPECT_EQ(calcRR(peaks.data(), 3, 200, flags.data(), t.data(), rr.data()), 2);
  EXPECT_EQ(flags, "NNN");
  EXPECT_EQ(rr, (V{1.0, 1.0, 150 * (1.0 / 200)}));
  EXPECT_EQ(t, (V{0.0, 1.0, (0.75 + 1.0) * 0.5 + 1.0}));
  EXPECT_EQ(calcRR(peaks.data(), 1, 200, flags.data(), t.data(), rr.data()), 200);
  EXPECT_EQ(calcRR(peaks.data(), 0, 200, flags.data(), t.data(), rr.data()), 0);
}

}  // namespace
