// Regression on whole MIT-BIH Arrhythmia records (360 Hz, resampled to
// 200 Hz): beat detection accuracy against the expert annotations.
#include <tuple>

#include "beats/detect_waves.hpp"
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

}  // namespace
}  // namespace zyn::cli
