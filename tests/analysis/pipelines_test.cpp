// Validation order of the QRS and HRV analyses and the positions of the
// detected beats, on synthetic recordings at 200 Hz. (Error rows, default
// lengths, the index shift and error 8 are checked through the JVM.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <thread>
#include <vector>

#include "analysis/pipelines.hpp"
#include "common/synthetic_ecg.hpp"

namespace {

using zyn::AnalysisRequest;

AnalysisRequest request(const std::vector<double>& ecg, int32_t fs = 200, int32_t start = 0, double fullScale = 10.0) {
  return {std::span<const double>(ecg), fs, start, 10, fullScale};
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
  EXPECT_EQ(zyn::analyse_qrs(request(shortEcg, 199, 0, 0.0)).error, 7);  // full scale before length
  EXPECT_EQ(zyn::analyse_qrs(request(shortEcg, 199)).error, 2);
  const auto ecg = zyn::testing::synthetic_ecg(12000, 200, 75, 2);
  EXPECT_EQ(zyn::analyse_qrs(request(ecg, 200, 54)).error, 0);
  EXPECT_EQ(zyn::analyse_qrs(request(ecg, 200, 55)).error, 7);
  EXPECT_EQ(zyn::analyse_hrv(request(ecg)).error, 2);  // 60 s is too short for HRV
  EXPECT_EQ(zyn::analyse_qrs(request(ecg, 200, 0, std::nan(""))).error, 7);
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

// Ten-minute analyses use helper threads inside; several of them at once
// must still give exactly the results of one at a time (run under
// ThreadSanitizer in CI).
TEST(AnalysisThreads, ConcurrentAnalysesMatchSequentialOnes) {
  constexpr int kRecordings = 4;
  std::vector<std::vector<double>> ecgs;
  std::vector<zyn::HrvAnalysis> expected;
  for (int k = 0; k < kRecordings; ++k) {
    ecgs.push_back(zyn::testing::synthetic_ecg(120000, 200, 60.0 + 10.0 * k, 40u + static_cast<uint32_t>(k)));
    expected.push_back(zyn::analyse_hrv(request(ecgs.back())));
    ASSERT_EQ(expected.back().error, 0);
  }
  std::vector<zyn::HrvAnalysis> got(kRecordings);
  std::vector<std::thread> threads;
  for (int k = 0; k < kRecordings; ++k) {
    threads.emplace_back([&, k] { got[static_cast<std::size_t>(k)] = zyn::analyse_hrv(request(ecgs[static_cast<std::size_t>(k)])); });
  }
  for (auto& t : threads) t.join();
  for (std::size_t k = 0; k < got.size(); ++k) {
    EXPECT_EQ(got[k].rpeaks, expected[k].rpeaks) << k;
    EXPECT_EQ(got[k].extraSystoles, expected[k].extraSystoles) << k;
    EXPECT_EQ(got[k].qualities, expected[k].qualities) << k;
    EXPECT_EQ(got[k].timeDomain, expected[k].timeDomain) << k;
    EXPECT_EQ(got[k].frequencyDomain, expected[k].frequencyDomain) << k;
  }
}

}  // namespace
