// Regression on whole MIT-BIH Arrhythmia records (360 Hz, resampled to
// 200 Hz): beat detection accuracy against the expert annotations, and the
// HRV of the annotated beats of a sinus rhythm record.
#include <cmath>
#include <tuple>

#include "beats/detect_waves.hpp"
#include "hrv/hrv.hpp"
#include "support.hpp"
#include "wfdb/annotations.hpp"
#include "wfdb/resample.hpp"

namespace zyn::cli {
namespace {

using namespace testing;

std::vector<wfdb::Annotation> beats_of(const char* record) {
  std::vector<wfdb::Annotation> beats;
  for (const auto& a : wfdb::read_annotations(data_dir() / "mitdb" / (std::string(record) + ".atr")))
    if (wfdb::is_beat(a.code)) beats.push_back(a);
  return beats;
}

// Share of the times inside [from, to] with a partner within 150 ms in `other`.
double matched_share(const std::vector<double>& times, const std::vector<double>& other, double from, double to) {
  const auto inside = std::count_if(times.begin(), times.end(), [&](double t) { return t >= from && t <= to; });
  return 1.0 - static_cast<double>(unmatched(times, other, from, to).size()) / static_cast<double>(inside);
}

// One whole-record detection; thresholds sit just below the measured figures.
TEST(MitdbRegression, DetectionSensitivityAndPredictivity) {
  ZYN_REQUIRE_MITDB();
  for (const auto& [record, sensitivity, predictivity] :
       {std::tuple{"100", 0.999, 0.999}, std::tuple{"119", 0.999, 0.999}, std::tuple{"208", 0.955, 0.999}}) {
    SCOPED_TRACE(record);
    const wfdb::Record rec = wfdb::read_record(data_dir() / "mitdb", record);
    const std::vector<double> ecg = wfdb::analysis_signal(rec, 0);
    const WaveDetection d = detect_waves(ecg, 200, 10, wfdb::full_scale(rec.header.signals[0]));
    std::vector<double> found, reference;
    for (const auto* list : {&d.normalPeaks, &d.extraPeaks})
      for (const int32_t p : *list) found.push_back((p - 1) / 200.0);
    std::sort(found.begin(), found.end());
    for (const auto& a : beats_of(record)) reference.push_back(static_cast<double>(a.sample) / 360.0);
    const double end = static_cast<double>(ecg.size()) / 200.0 - 1.0;
    EXPECT_GE(matched_share(reference, found, 1.0, end), sensitivity);
    EXPECT_GE(matched_share(found, reference, 1.0, end), predictivity);
  }
}

TEST(MitdbRegression, SinusRhythmRecordGivesPhysiologicalHrv) {
  ZYN_REQUIRE_MITDB();
  std::vector<int32_t> normal, extra;  // 1-based samples at 360 Hz
  for (const auto& a : beats_of("100")) (a.code == 1 ? normal : extra).push_back(static_cast<int32_t>(a.sample + 1));
  const auto nNormal = static_cast<int32_t>(normal.size());
  EXPECT_NEAR(heart_rate_from_trimmed_mean(normal, nNormal, extra, static_cast<int32_t>(extra.size()), 360), 76.0, 2.0);
  EXPECT_NEAR(heart_rate_from_median_rr(normal, nNormal, 360), 76.0, 3.0);
  std::array<double, 7> time{};
  std::array<double, 6> freq{};
  int32_t status = -1;
  hrv_with_extra_systoles(normal, extra, nNormal - 1, 360, time, freq, status);
  EXPECT_EQ(status, 0);
  EXPECT_NEAR(time[1], 60.0 / 76.0, 0.03);  // avnn (s)
  EXPECT_GT(time[0], 0.95);                 // nn_rr: few ectopic beats
  EXPECT_TRUE(time[2] > 0.01 && time[2] < 0.2 && time[3] > 0.0 && time[4] > 0.0);
  for (double p : freq) EXPECT_TRUE(std::isfinite(p) && p > 0.0);
  // The bands cover 0 to 0.4 Hz contiguously; the spectrum holds at most the NN variance.
  EXPECT_NEAR(freq[1] + freq[2] + freq[3] + freq[4], freq[0], 0.01 * freq[0]);
  EXPECT_LT(freq[0], 1.1 * time[2] * time[2]);
}

}  // namespace
}  // namespace zyn::cli
