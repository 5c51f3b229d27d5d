// Validation order, output lengths and index arithmetic of the QRS and HRV
// analyses, on synthetic recordings at 200 Hz.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <thread>

#include "analysis/pipelines.hpp"
#include "common/synthetic_ecg.hpp"

namespace {

using zyn::AnalysisRequest;

AnalysisRequest request(const std::vector<double>& ecg, int32_t fs = 200, int32_t start = 0,
                        int32_t window = 10, double fullScale = 10.0) {
  AnalysisRequest r;
  r.ecg = std::span<const double>(ecg);
  r.fs = fs;
  r.startSeconds = start;
  r.qualityWindowSeconds = window;
  r.fullScale = fullScale;
  return r;
}

std::size_t used(const std::vector<int32_t>& v) {
  return static_cast<std::size_t>(std::find(v.begin(), v.end(), -1) - v.begin());
}

TEST(AnalysisValidation, CodesFollowTheDocumentedOrder) {
  const auto shortEcg = zyn::testing::synthetic_ecg(2999, 200, 75, 1);
  AnalysisRequest none;
  none.fs = 0;
  EXPECT_EQ(zyn::analyse_qrs(none).error, 1);                              // null first
  EXPECT_EQ(zyn::analyse_qrs(request(shortEcg, 0, -1)).error, 2);          // fs 0 before start
  EXPECT_EQ(zyn::analyse_qrs(request(shortEcg, 199, -1)).error, 7);        // start before length
  EXPECT_EQ(zyn::analyse_qrs(request(shortEcg, 199, 0, 10, 0.0)).error, 7);  // full scale before length
  EXPECT_EQ(zyn::analyse_qrs(request(shortEcg, 199)).error, 2);
  const auto ecg = zyn::testing::synthetic_ecg(12000, 200, 75, 2);
  EXPECT_EQ(zyn::analyse_qrs(request(ecg, 200, 54)).error, 0);
  EXPECT_EQ(zyn::analyse_qrs(request(ecg, 200, 55)).error, 7);
  EXPECT_EQ(zyn::analyse_hrv(request(ecg)).error, 2);  // 60 s is too short for HRV
  EXPECT_EQ(zyn::analyse_qrs(request(ecg, 200, 0, 10, std::nan(""))).error, 7);
}

TEST(AnalysisValidation, ErrorPathsUseDefaultLengths) {
  const auto ecg = zyn::testing::synthetic_ecg(12000, 200, 75, 3);
  const auto q = zyn::analyse_qrs(request(ecg, 201));
  EXPECT_EQ(q.beatArrayLength, 3 * (3000 / 201) + 55);
  EXPECT_EQ(q.qualityCount, 6);
  EXPECT_EQ(used(q.rpeaks), 0u);
  EXPECT_EQ(q.qualities, std::vector<int32_t>(6, -1));
  const auto h = zyn::analyse_hrv(request(ecg, 0));
  EXPECT_EQ(h.beatArrayLength, 200);  // no division by a zero rate
  EXPECT_EQ(h.rpeaks.size(), 200u);
}

TEST(AnalysisIndices, PositionsAreZeroBasedInTheWholeRecording) {
  const auto stretch = zyn::testing::synthetic_ecg(8000, 200, 70, 4);
  auto whole = zyn::testing::synthetic_ecg(2000, 200, 90, 5);
  whole.insert(whole.end(), stretch.begin(), stretch.end());
  const auto alone = zyn::analyse_qrs(request(stretch));
  const auto shifted = zyn::analyse_qrs(request(whole, 200, 10));
  ASSERT_EQ(alone.error, 0);
  ASSERT_EQ(used(alone.rpeaks), used(shifted.rpeaks));
  for (std::size_t i = 0; i < used(alone.rpeaks); ++i) {
    EXPECT_EQ(shifted.rpeaks[i], alone.rpeaks[i] + 2000);
  }
  EXPECT_EQ(alone.beatArrayLength, 3 * 40 + 55);
  EXPECT_EQ(shifted.beatArrayLength, 3 * 50 + 55);
}

TEST(AnalysisIndices, DetectedBeatsLieOnTheSyntheticRWaves) {
  std::vector<double> rSeconds;
  const auto ecg = zyn::testing::synthetic_ecg(12000, 200, 75, 6, &rSeconds);
  const auto q = zyn::analyse_qrs(request(ecg));
  ASSERT_EQ(q.error, 0);
  for (std::size_t i = 0; i < used(q.rpeaks); ++i) {
    const double t = q.rpeaks[i] / 200.0;
    const auto nearest = std::min_element(rSeconds.begin(), rSeconds.end(), [t](double a, double b) {
      return std::fabs(a - t) < std::fabs(b - t);
    });
    EXPECT_LT(std::fabs(*nearest - t), 0.03) << "beat " << i;
  }
}

TEST(AnalysisHrv, FewBeatsGiveErrorEightWithPeaks) {
  const auto ecg = zyn::testing::synthetic_ecg(36000, 200, 75, 7);
  const auto h = zyn::analyse_hrv(request(ecg, 200, 174));
  EXPECT_EQ(h.error, 8);
  EXPECT_GE(used(h.rpeaks), 2u);
  EXPECT_LE(used(h.rpeaks), 5u);
  EXPECT_EQ(h.timeDomain, (std::array<double, 7>{}));
}

TEST(AnalysisHrv, ConcurrentAnalysesMatchSequentialOnes) {
  std::vector<std::vector<double>> recordings;
  std::vector<zyn::HrvAnalysis> expected;
  for (uint32_t i = 0; i < 4; ++i) {
    recordings.push_back(zyn::testing::synthetic_ecg(40000, 200, 60 + 10 * i, 10 + i));
    expected.push_back(zyn::analyse_hrv(request(recordings.back())));
  }
  std::vector<std::thread> threads;
  std::vector<int> mismatches(8, 0);
  for (std::size_t t = 0; t < 8; ++t) {
    threads.emplace_back([&, t] {
      for (std::size_t c = 0; c < 3; ++c) {
        const std::size_t k = (t + c) % recordings.size();
        const auto got = zyn::analyse_hrv(request(recordings[k]));
        if (got.rpeaks != expected[k].rpeaks || got.timeDomain != expected[k].timeDomain ||
            got.frequencyDomain != expected[k].frequencyDomain || got.error != expected[k].error) {
          ++mismatches[t];
        }
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(mismatches, std::vector<int>(8, 0));
}

}  // namespace
