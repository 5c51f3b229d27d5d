// The whole-recording call on real records: the same beats whatever the
// quality window and start second, exactly the HRV entry's results for a
// recording that fits one call, the standard HRV definitions over a 30-minute
// record's merged beats, and NaN runs left out and reported.
#include <cmath>
#include <limits>
#include <numeric>

#include "analyse_recording.hpp"
#include "recording/support.hpp"

namespace zyn::recording {
namespace {

using namespace testing;

// Record 100 at 200 Hz, converted once for all the tests here.
const std::vector<double>& record_100_at_200hz() {
  static const std::vector<double> signal = [] {
    FileOptions f;
    f.mode = Mode::Qrs;
    return analyse_file((data_dir() / "mitdb" / "100.hea").string(), f).ecg200;
  }();
  return signal;
}

RecordingInfo at_200hz(const std::string& name) {
  RecordingInfo info;
  info.source = name;
  info.fsHz = 200.0;
  info.fullScale = 1024 / 200.0;
  return info;
}

// Every window length from 1 s to an hour and start seconds across the
// record give the beats of the default analysis, within 150 ms.
TEST(WholeRecording, SameBeatsForEveryWindowAndStart) {
  ZYN_REQUIRE_MITDB();
  const auto& ecg = record_100_at_200hz();
  AnalysisOptions o;
  o.mode = Mode::Qrs;
  o.parallel = parallel_on_threads(2);
  const RecordingAnalysis reference = analyse_samples(ecg, at_200hz("100"), o);
  const std::vector<double> expected = beat_seconds(reference);
  ASSERT_GT(expected.size(), 2200u);
  const double end = static_cast<double>(ecg.size()) / 200.0;
  std::vector<int32_t> windows;
  for (int32_t w = 1; w <= 3600; w += w < 12 ? 1 : w < 120 ? 7 : w < 700 ? 37 : 301) windows.push_back(w);
  for (const int32_t w : {294, 295, 300, 589, 590, 599, 600, 601, 3600}) windows.push_back(w);
  const int32_t starts[] = {0, 1, 7, 299, 601, 1234, 1780};
  for (std::size_t i = 0; i < windows.size(); ++i) {
    o.windowSeconds = windows[i];
    o.startSeconds = starts[i % std::size(starts)];
    SCOPED_TRACE("window " + std::to_string(o.windowSeconds) + " s, start " + std::to_string(o.startSeconds) + " s");
    const RecordingAnalysis r = analyse_samples(ecg, at_200hz("100"), o);
    for (const StretchResult& s : r.stretches) EXPECT_EQ(s.error, kAnalysisOk) << s.startSeconds;
    const std::vector<double> found = beat_seconds(r);
    const double from = o.startSeconds + 1.0;
    EXPECT_EQ(unmatched(found, expected, from, end - 1.0), std::vector<double>{});
    EXPECT_EQ(unmatched(expected, found, from, end - 1.0), std::vector<double>{});
    ASSERT_FALSE(r.windows.empty());
  }
}

// A recording that fits one call of the HRV analysis gets exactly its results.
TEST(WholeRecording, OneCallGivesExactlyTheHrvEntryResults) {
  ZYN_REQUIRE_MITDB();
  const auto& whole = record_100_at_200hz();
  for (const std::size_t samples : {std::size_t{60000}, std::size_t{119936}, std::size_t{120000}}) {
    SCOPED_TRACE(samples);
    const std::span<const double> ecg(whole.data() + 20000, samples);
    const RecordingAnalysis r = analyse_samples(ecg, at_200hz("excerpt"), {});
    AnalysisRequest request;
    request.ecg = ecg;
    request.fullScale = 1024 / 200.0;
    const HrvAnalysis direct = analyse_hrv(request);
    ASSERT_EQ(r.stretches.size(), 1u);
    EXPECT_EQ(r.hrv.error != kAnalysisOk ? r.hrv.error : r.error, direct.error);
    EXPECT_EQ(*r.hrBpm, direct.hr);
    EXPECT_EQ(*r.hrMeanBpm, direct.hrMean);
    std::vector<int64_t> rpeaks, extra;
    for (const int32_t p : direct.rpeaks)
      if (p >= 0) rpeaks.push_back(p);
    for (const int32_t p : direct.extraSystoles)
      if (p >= 0) extra.push_back(p);
    EXPECT_EQ(r.normal.samples200Hz, rpeaks);
    EXPECT_EQ(r.extraSystoles.samples200Hz, extra);
    ASSERT_TRUE(r.hrv.timeDomain && r.hrv.frequencyDomain);
    for (std::size_t i = 0; i < 7; ++i) EXPECT_EQ((*r.hrv.timeDomain)[i], direct.timeDomain[i]) << i;
    for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ((*r.hrv.frequencyDomain)[i], direct.frequencyDomain[i]) << i;
    EXPECT_EQ(r.stretches[0].qualities, direct.qualities);
    // The band powers are sums over the spectrum the results carry.
    double total = 0.0;
    for (const double p : r.spectrum.power) total += p;
    EXPECT_EQ(total, direct.frequencyDomain[0]);
  }
}

struct Moments {
  double n = 0, sum = 0, squares = 0;
  void add(double v) { n += 1, sum += v, squares += v * v; }
  double mean() const { return sum / n; }
  double sd() const { return std::sqrt((squares - sum * sum / n) / (n - 1)); }
};

// SDNN over every NN interval of the 30-minute record, SDANN and SDNNIDX over
// its 5-minute segments (the last one only 5 s long), RMSSD over successive
// NN pairs: computed here from the merged beats by the textbook definitions.
TEST(WholeRecording, ThirtyMinuteHrvFollowsTheStandardDefinitions) {
  ZYN_REQUIRE_MITDB();
  const auto& ecg = record_100_at_200hz();
  AnalysisOptions o;
  o.parallel = parallel_on_threads(2);
  const RecordingAnalysis r = analyse_samples(ecg, at_200hz("100"), o);
  ASSERT_EQ(r.stretches.size(), 4u);
  ASSERT_TRUE(r.hrv.timeDomain);
  Moments all;
  std::vector<Moments> segments;
  double diffSquares = 0;
  int pairs = 0;
  // Segments of 300 s by the midpoint time of each interval, from the first midpoint.
  const auto midpoint = [&](std::size_t i) { return static_cast<double>(r.beats[i - 1].sample + r.beats[i].sample) / 400.0; };
  for (std::size_t i = 2; i < r.beats.size(); ++i) {
    if (r.beats[i].extra || r.beats[i - 1].extra) continue;
    const double rr = static_cast<double>(r.beats[i].sample - r.beats[i - 1].sample) / 200.0;
    all.add(rr);
    const auto seg = static_cast<std::size_t>((midpoint(i) - midpoint(1)) / 300.0);
    if (seg >= segments.size()) segments.resize(seg + 1);
    segments[seg].add(rr);
    if (i >= 3 && !r.beats[i - 2].extra) {
      const double before = static_cast<double>(r.beats[i - 1].sample - r.beats[i - 2].sample) / 200.0;
      diffSquares += (rr - before) * (rr - before);
      ++pairs;
    }
  }
  Moments means, sds;
  for (const Moments& m : segments) {
    if (m.n < 2) continue;
    means.add(m.mean());
    sds.add(m.sd());
  }
  const auto& t = *r.hrv.timeDomain;
  EXPECT_NEAR(t[2], all.sd(), 2e-4);
  EXPECT_NEAR(t[5], std::sqrt(diffSquares / pairs), 2e-4);
  EXPECT_NEAR(t[3], means.sd(), 2e-3);
  EXPECT_NEAR(t[4], sds.mean(), 2e-3);
  // The 5-minute table counts every beat once and gives each segment's rate.
  int64_t counted = 0;
  for (const SegmentRow& s : r.segments) counted += s.normalBeats + s.extraSystoles;
  EXPECT_EQ(counted, static_cast<int64_t>(r.beats.size()));
  ASSERT_EQ(r.segments.size(), 7u);
  EXPECT_NEAR(*r.segments[0].meanHrBpm, 60.0 / segments[0].mean(), 2.0);
}

// NaN runs are never analysed, are reported, and no beat or interval
// comes from them.
TEST(WholeRecording, NaNRunsAreReportedAndLeftOut) {
  ZYN_REQUIRE_MITDB();
  std::vector<double> ecg = record_100_at_200hz();
  const std::size_t from = 500 * 200, to = 530 * 200;
  std::fill(ecg.begin() + from, ecg.begin() + to, std::numeric_limits<double>::quiet_NaN());
  AnalysisOptions o;
  o.parallel = parallel_on_threads(2);
  const RecordingAnalysis r = analyse_samples(ecg, at_200hz("100"), o);
  ASSERT_EQ(r.nanGaps.size(), 1u);
  EXPECT_EQ(r.nanGaps[0].startSeconds, 500.0);
  EXPECT_EQ(r.nanGaps[0].endSeconds, 530.0);
  for (const StretchResult& s : r.stretches) EXPECT_EQ(s.error, kAnalysisOk);
  for (const double t : beat_seconds(r)) EXPECT_FALSE(t > 500.0 && t < 530.0) << t;
  ASSERT_FALSE(r.warnings.empty());
  EXPECT_NE(r.warnings.back().find("NaN"), std::string::npos);
  EXPECT_TRUE(r.hrv.timeDomain);
  for (std::size_t i = 1; i < r.rrSeries.rr.size(); ++i) {
    const bool nn = r.rrSeries.flags[i] == 'N' && r.rrSeries.flags[i - 1] == 'N';
    EXPECT_TRUE(!nn || r.rrSeries.rr[i] < 2.0) << i;
  }
  for (const double rr : r.rrSeries.nnRR) EXPECT_LT(rr, 2.0);
}

}  // namespace
}  // namespace zyn::recording
