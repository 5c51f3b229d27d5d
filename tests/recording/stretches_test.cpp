// Beat detection on whole MIT-BIH records against the expert annotations, and
// analysis of long recordings in overlapping stretches: stretched detection
// of a whole record finds the beats of one whole-record detection, the plan
// covers the recording on the quality-window grid, merging neither loses nor
// doubles a beat at a border, and the 250 Hz QT-database copy of record 100
// gives the same beats as the 360 Hz original.
#include <algorithm>
#include <random>
#include <tuple>

#include "beats/detect_waves.hpp"
#include "analyse_recording.hpp"
#include "recording/support.hpp"
#include "wfdb/annotations.hpp"

namespace zyn::recording {
namespace {

using namespace testing;

// Sorted times (s) of the beats of one detection at 200 Hz (1-based positions).
std::vector<double> detected_seconds(const WaveDetection& d) {
  std::vector<double> out;
  for (const auto* list : {&d.normalPeaks, &d.extraPeaks})
    for (const int32_t p : *list) out.push_back((p - 1) / 200.0);
  std::sort(out.begin(), out.end());
  return out;
}

// One whole-record detection (360 Hz resampled to 200 Hz) against the expert
// annotations: thresholds on the share of beats matched within 150 ms sit
// just below the measured figures. The tool's detection in overlapping
// stretches finds the beats of that one detection on records 100 and 119 (on
// 208 the stretch borders move some detections), and the quality windows of
// its stretches form one gapless 10-second grid.
TEST(MitdbRegression, DetectionSensitivityAndPredictivityWholeAndInStretches) {
  ZYN_REQUIRE_MITDB();
  FileOptions options;
  options.mode = Mode::Qrs;
  for (const auto& [record, sensitivity, predictivity, sameInStretches] :
       {std::tuple{"100", 0.999, 0.999, true}, std::tuple{"119", 0.999, 0.999, true},
        std::tuple{"208", 0.955, 0.999, false}}) {
    SCOPED_TRACE(record);
    const std::string path = (data_dir() / "mitdb" / record).string();
    const RecordingAnalysis f = analyse_file(path + ".hea", options);
    const auto found = detected_seconds(detect_waves(f.ecg200, 200, 10, f.fullScale));
    std::vector<double> reference;
    for (const auto& a : wfdb::read_annotations(path + ".atr"))
      if (wfdb::is_beat(a.code)) reference.push_back(static_cast<double>(a.sample) / 360.0);
    const double end = static_cast<double>(f.ecg200.size()) / 200.0 - 1.0;
    const auto matched_share = [end](const std::vector<double>& times, const std::vector<double>& other) {
      const auto inside = std::count_if(times.begin(), times.end(), [&](double t) { return t >= 1.0 && t <= end; });
      return 1.0 - static_cast<double>(unmatched(times, other, 1.0, end).size()) / static_cast<double>(inside);
    };
    EXPECT_GE(matched_share(reference, found), sensitivity);
    EXPECT_GE(matched_share(found, reference), predictivity);

    ASSERT_EQ(f.stretches.size(), 4u);
    if (sameInStretches) {
      const std::vector<double> stretched = beat_seconds(f);
      EXPECT_EQ(unmatched(stretched, found, 1.0, end), std::vector<double>{});
      EXPECT_EQ(unmatched(found, stretched, 1.0, end), std::vector<double>{});
    }
    const auto& windows = f.windows;
    EXPECT_EQ(windows.size(), f.ecg200.size() / 2000);
    for (std::size_t i = 0; i < windows.size(); ++i) EXPECT_EQ(windows[i].first, static_cast<int64_t>(i) * 2000) << i;
  }
}

TEST(StretchPlan, CoversTheRecordingOnTheWindowGridWithOverlap) {
  std::mt19937 rng(7);
  std::uniform_int_distribution<int64_t> length(3000, 2'000'000);
  for (int trial = 0; trial < 300; ++trial) {
    const int64_t total = trial < 3 ? std::array<int64_t, 3>{119936, 119937, 3000}[trial] : length(rng);
    // Windows of 5 .. 294 s fit twice in the step between stretches and
    // put the stretches on their grid; others on whole seconds.
    const int32_t window = std::array<int32_t, 9>{3, 10, 1, 60, 294, 295, 600, 3600, 100000}[trial % 9];
    const int64_t grid = window >= 5 && window <= 294 ? window * 200 : 200;
    const auto plans = plan_stretches(total, kQrsMaxSamples, window);
    ASSERT_FALSE(plans.empty());
    EXPECT_EQ(plans.front().first, 0);
    EXPECT_EQ(plans.back().first + plans.back().count, total);
    for (std::size_t k = 0; k < plans.size(); ++k) {
      EXPECT_LE(plans[k].count, kQrsMaxSamples);
      EXPECT_GE(plans[k].count, std::min<int64_t>(total, kHrvMinSamples));
      EXPECT_LT(plans[k].first, total - kQrsMinSamples + (total == plans[k].count ? kQrsMinSamples : 0));
      EXPECT_EQ(plans[k].first % grid, 0);
      if (k > 0) {
        const int64_t overlap = plans[k - 1].first + plans[k - 1].count - plans[k].first;
        EXPECT_GE(overlap, static_cast<int64_t>(kMinimumOverlapSeconds * 200)) << total << " stretch " << k;
        EXPECT_GT(plans[k].first, plans[k - 1].first);
      }
    }
  }
}

// Each stretch sees the true beats that lie more than 1 s inside it, each
// moved by a few samples, as a detector run on different data would.
TEST(StretchMerge, NoBeatIsLostOrDoubledAtABorder) {
  std::mt19937 rng(11);
  for (int trial = 0; trial < 50; ++trial) {
    const int64_t total = std::uniform_int_distribution<int64_t>(120000, 900000)(rng);
    std::vector<int64_t> truth;
    for (int64_t t = 100; t < total; t += std::uniform_int_distribution<int64_t>(60, 300)(rng)) truth.push_back(t);
    std::vector<StretchResult> stretches;
    std::uniform_int_distribution<int64_t> jitter(-4, 4);
    for (const StretchPlan& p : plan_stretches(total, kQrsMaxSamples, 10)) {
      StretchResult s;
      s.plan = p;
      for (const int64_t t : truth)
        if (t >= p.first + 200 && t < p.first + p.count - 200) s.beats.push_back({t + jitter(rng), t % 7 == 0});
      stretches.push_back(s);
    }
    const auto merged = merge_beats(stretches);
    const auto inside = std::count_if(truth.begin(), truth.end(), [&](int64_t t) { return t >= 200 && t < total - 200; });
    ASSERT_EQ(static_cast<int64_t>(merged.size()), inside) << "trial " << trial;
    std::size_t k = 0;
    for (const int64_t t : truth) {
      if (t < 200 || t >= total - 200) continue;
      EXPECT_LE(std::abs(merged[k].sample - t), 4) << t;
      EXPECT_EQ(merged[k++].extra, t % 7 == 0);
    }
    for (std::size_t i = 1; i < stretches.size(); ++i) EXPECT_EQ(stretches[i].ownedFrom, stretches[i - 1].ownedTo);
  }
}

TEST(StretchedAnalysis, QtDatabaseCopyAt250HzFindsTheBeatsOfTheMitdbOriginal) {
  ZYN_REQUIRE_MITDB();
  if (!fs::exists(data_dir() / "qtdb" / "sel100.hea")) GTEST_SKIP() << "no qtdb/sel100";
  FileOptions options;
  options.mode = Mode::Qrs;
  const RecordingAnalysis qt = analyse_file((data_dir() / "qtdb" / "sel100.hea").string(), options);
  const RecordingAnalysis mit = analyse_file((data_dir() / "mitdb" / "100.hea").string(), options);
  ASSERT_EQ(qt.recording.fsHz, 250.0);
  constexpr double kExcerptStartSeconds = 420.0;  // sel100 is 100 from 7:00 to 22:00
  std::vector<double> qtBeats = beat_seconds(qt);
  for (double& t : qtBeats) t += kExcerptStartSeconds;
  const std::vector<double> mitBeats = beat_seconds(mit);
  const double from = kExcerptStartSeconds + 1.0, to = kExcerptStartSeconds + 899.0;
  EXPECT_GT(qtBeats.size(), 1100u);
  EXPECT_EQ(unmatched(qtBeats, mitBeats, from, to), std::vector<double>{});
  EXPECT_EQ(unmatched(mitBeats, qtBeats, from, to), std::vector<double>{});
}

}  // namespace
}  // namespace zyn::recording
