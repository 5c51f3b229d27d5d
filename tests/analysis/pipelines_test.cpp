// Validation order of the QRS and HRV analyses and the positions of the
// detected beats, on synthetic recordings at 200 Hz. (Each error code alone,
// default lengths, the start limits, the index shift and error 8 are checked
// through the JVM.)
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <thread>
#include <tuple>
#include <vector>

#include "analysis/pipelines.hpp"
#include "common/synthetic_ecg.hpp"

namespace {

using zyn::AnalysisRequest;
using zyn::testing::synthetic_ecg;

AnalysisRequest request(const std::vector<double>& ecg, int32_t fs = 200, int32_t start = 0, double fullScale = 10.0) {
  return {std::span<const double>(ecg), fs, start, 10, fullScale};
}

// When several checks fail, the first in order names the error: the missing
// recording, then the rate, then start and full scale, then the length.
TEST(AnalysisValidation, CodesFollowTheDocumentedOrder) {
  const auto shortEcg = synthetic_ecg(2999, 200, 75, 1);
  AnalysisRequest none;
  none.fs = 0;
  EXPECT_EQ(zyn::analyse_qrs(none).error, 1);
  EXPECT_EQ(zyn::analyse_qrs(request(shortEcg, 0, -1)).error, 2);
  EXPECT_EQ(zyn::analyse_qrs(request(shortEcg, 199, -1)).error, 7);
  EXPECT_EQ(zyn::analyse_qrs(request(shortEcg, 199, 0, 0.0)).error, 7);
  EXPECT_EQ(zyn::analyse_qrs(request(shortEcg, 199)).error, 2);
}

TEST(AnalysisIndices, DetectedBeatsLieOnTheSyntheticRWaves) {
  std::vector<double> rSeconds;
  const auto ecg = synthetic_ecg(12000, 200, 75, 6, &rSeconds);
  const auto q = zyn::analyse_qrs(request(ecg));
  ASSERT_EQ(q.error, 0);
  for (std::size_t i = 0; i < q.rpeaks.size() && q.rpeaks[i] != -1; ++i) {
    const double t = q.rpeaks[i] / 200.0;
    const auto nearest = std::min_element(rSeconds.begin(), rSeconds.end(), [t](double a, double b) {
      return std::fabs(a - t) < std::fabs(b - t);
    });
    EXPECT_LT(std::fabs(*nearest - t), 0.03) << "beat " << i;
  }
}

// Several ten-minute analyses at once, sharing the scratch pool, must give
// exactly the results of one at a time (run under ThreadSanitizer in CI).
TEST(AnalysisThreads, ConcurrentAnalysesMatchSequentialOnes) {
  constexpr std::size_t kRecordings = 4;
  const auto results = [](const zyn::HrvAnalysis& a) {
    return std::tie(a.error, a.rpeaks, a.extraSystoles, a.qualities, a.timeDomain, a.frequencyDomain);
  };
  std::vector<std::vector<double>> ecgs;
  std::vector<zyn::HrvAnalysis> expected, got(kRecordings);
  for (std::size_t k = 0; k < kRecordings; ++k) {
    ecgs.push_back(synthetic_ecg(120000, 200, 60.0 + 10.0 * static_cast<double>(k), 40u + static_cast<uint32_t>(k)));
    expected.push_back(zyn::analyse_hrv(request(ecgs.back())));
    ASSERT_EQ(expected.back().error, 0);
  }
  std::vector<std::thread> threads;
  for (std::size_t k = 0; k < kRecordings; ++k) {
    threads.emplace_back([&, k] { got[k] = zyn::analyse_hrv(request(ecgs[k])); });
  }
  for (auto& t : threads) t.join();
  for (std::size_t k = 0; k < kRecordings; ++k) EXPECT_TRUE(results(got[k]) == results(expected[k])) << k;
}

}  // namespace
