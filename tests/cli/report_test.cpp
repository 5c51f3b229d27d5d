// The report's own numbers (Poincaré SD1 and SD2, the NN histogram, band
// peaks, shares and normalised units, trend heart-rate ranges), the
// compact signal it embeds, and the page it writes for the bundled
// excerpt, and the JSON document. The page's drawing is checked in a
// browser by tests/browser.
#include <cmath>
#include <random>

#include "output.hpp"
#include "report.hpp"
#include "report_signal.hpp"
#include "support.hpp"

namespace zyn::cli {
namespace {

using namespace testing;

BeatIntervals series_of(const std::vector<double>& rr, const std::vector<uint8_t>& nn) {
  BeatIntervals s;
  double t = 0;
  for (const double v : rr) s.endSeconds.push_back(t += v);
  s.rrSeconds = rr;
  s.nn = nn;
  return s;
}

// SD1 and SD2 against their plain definitions: the spread of the Poincaré
// points across and along the identity line, with the usual identities
// SD1² = var(ΔNN)/2 and SD1² + SD2² = 2 var(NN) holding on a long series.
TEST(ReportFigures, PoincareDescriptorsMatchTheirDefinitionsAndSkipPairsBrokenByExtraSystoles) {
  const auto small = poincare_descriptors(series_of({0.8, 0.9, 0.7, 0.8}, {1, 1, 1, 1}));
  ASSERT_TRUE(small);
  // Pairs (0.8,0.9), (0.9,0.7), (0.7,0.8): across -0.1,0.2,-0.1 over √2; along 1.7,1.6,1.5 over √2.
  EXPECT_NEAR(small->sd1Seconds, std::sqrt(0.06 / 2 / 2), 1e-12);
  EXPECT_NEAR(small->sd2Seconds, std::sqrt(0.02 / 2 / 2), 1e-12);
  EXPECT_EQ(small->pairs, 3u);
  // An interval next to an extra systole breaks both pairs it belongs to.
  EXPECT_EQ(poincare_descriptors(series_of({0.8, 0.9, 0.5, 0.8, 0.7, 0.9}, {1, 1, 0, 1, 1, 1}))->pairs, 3u);
  EXPECT_FALSE(poincare_descriptors(series_of({0.8, 0.9, 0.5}, {1, 1, 0})));

  std::mt19937 rng(7);
  std::normal_distribution<double> noise(0.0, 0.04);
  std::vector<double> rr;
  for (int i = 0; i < 20000; ++i) rr.push_back(0.8 + 0.05 * std::sin(i * 0.05) + noise(rng));
  const auto p = poincare_descriptors(series_of(rr, std::vector<uint8_t>(rr.size(), 1)));
  double m = 0, v = 0, dm = 0, dv = 0;
  for (const double x : rr) m += x;
  m /= static_cast<double>(rr.size());
  for (const double x : rr) v += (x - m) * (x - m);
  v /= static_cast<double>(rr.size() - 1);
  for (std::size_t i = 1; i < rr.size(); ++i) dm += rr[i] - rr[i - 1];
  dm /= static_cast<double>(rr.size() - 1);
  for (std::size_t i = 1; i < rr.size(); ++i) dv += (rr[i] - rr[i - 1] - dm) * (rr[i] - rr[i - 1] - dm);
  dv /= static_cast<double>(rr.size() - 2);
  EXPECT_NEAR(p->sd1Seconds * p->sd1Seconds, dv / 2, 1e-12);
  EXPECT_NEAR(p->sd1Seconds * p->sd1Seconds + p->sd2Seconds * p->sd2Seconds, 2 * v, 2 * v * 1e-3);
}

TEST(ReportFigures, HistogramCountsEveryNnIntervalOnceInTenMillisecondBins) {
  // Whole 5 ms steps, as at 200 Hz; 0.800 and 0.805 share a bin, 0.810 starts the next.
  const auto h = nn_histogram(series_of({0.800, 0.805, 0.810, 0.835, 0.5, 0.815}, {1, 1, 1, 1, 0, 1}));
  EXPECT_NEAR(h.firstBinSeconds, 0.800, 1e-12);
  EXPECT_EQ(h.counts, (std::vector<uint32_t>{2, 2, 0, 1}));
  EXPECT_TRUE(nn_histogram(series_of({0.8}, {0})).counts.empty());
}

TEST(ReportFigures, FrequencyTableFindsBandPeaksSharesAndNormalisedUnits) {
  // Powers in s²: total 10, ULF 1, VLF 2, LF 3, HF 4, LF/HF 0.75.
  const std::array<double, 6> power{10, 1, 2, 3, 4, 0.75};
  const std::vector<double> hz{0.001, 0.02, 0.04, 0.1, 0.2, 0.3, 0, 0};
  const std::vector<double> pointPower{1, 4, 25, 9, 1, 4, 81, 81};
  const auto rows = frequency_table(power, hz, pointPower);
  ASSERT_EQ(rows.size(), 4u);
  EXPECT_EQ(rows[0].name, "ULF");
  EXPECT_EQ(rows[0].peakHz, 0.001);
  EXPECT_EQ(rows[1].peakHz, 0.04);   // a point on a shared edge belongs to both bands
  EXPECT_EQ(rows[2].peakHz, 0.04);
  EXPECT_EQ(rows[3].peakHz, 0.3);    // the zero-frequency tail is no spectral point
  EXPECT_DOUBLE_EQ(rows[2].percentOfTotal, 30.0);
  EXPECT_DOUBLE_EQ(*rows[2].normalisedUnits, 100.0 * 3 / 7);
  EXPECT_DOUBLE_EQ(*rows[3].normalisedUnits, 100.0 * 4 / 7);
  EXPECT_FALSE(rows[0].normalisedUnits);
  EXPECT_FALSE(frequency_table(power, {}, {})[2].peakHz);
}

TEST(ReportFigures, HeartRateRangeUsesRunsOfEightNnIntervalsInsideTheSegment) {
  std::vector<double> rr(30, 1.0);
  for (int i = 10; i < 18; ++i) rr[i] = 0.5;   // eight intervals at 120 bpm
  std::vector<uint8_t> nn(30, 1);
  const auto all = heart_rate_range(series_of(rr, nn), 0, 1000);
  ASSERT_TRUE(all);
  EXPECT_DOUBLE_EQ(all->minBpm, 60.0);
  EXPECT_DOUBLE_EQ(all->maxBpm, 120.0);
  nn[14] = 0;  // an extra systole in the fast run: no run of eight at 120 bpm remains
  EXPECT_LT(heart_rate_range(series_of(rr, nn), 0, 1000)->maxBpm, 120.0);
  EXPECT_FALSE(heart_rate_range(series_of(rr, nn), 0, 5));  // five intervals only
}

TEST(ReportSignal, ChunksDecodeToTheQuantisedSamplesWithGapsKept) {
  std::vector<double> x;
  for (int i = 0; i < 30000; ++i) x.push_back(1.5 * std::sin(i * 0.01) + (i % 97 == 0 ? 40.0 : 0.0));
  x[12345] = NAN;
  std::string text;
  append_encoded_signal(text, x, 200.0, 0.0025);
  std::vector<std::string> lines;
  for (std::size_t from = 0, at; (at = text.find('\n', from)) != std::string::npos; from = at + 1)
    lines.push_back(text.substr(from, at - from));
  ASSERT_EQ(lines.size(), 3u);  // 60 s chunks of 12,000 samples
  std::vector<int32_t> steps;
  for (const auto& line : lines) {
    const auto chunk = decode_signal_chunk(line);
    steps.insert(steps.end(), chunk.begin(), chunk.end());
  }
  ASSERT_EQ(steps.size(), x.size());
  for (std::size_t i = 0; i < x.size(); ++i) {
    if (std::isnan(x[i])) {
      EXPECT_EQ(steps[i], INT32_MIN);
    } else {
      ASSERT_EQ(steps[i], std::lround(x[i] * (1 / 0.0025))) << i;
    }
  }
}

RecordingAnalysis bundled_excerpt() {
  return analyse_file((source_dir() / "data" / "mitdb-100-excerpt.hea").string(), {});
}

// The JSON holds the whole-recording results under their documented names,
// the beats in three scales, the 5-minute table and the meaning of each code.
TEST(JsonOutput, HoldsTheWholeRecordingResultsTheirPositionsAndTheMeaningOfEachCode) {
  const RecordingAnalysis f = bundled_excerpt();
  const auto j = to_json(f);
  ASSERT_EQ(j["stretches"].size(), f.stretches.size());
  EXPECT_EQ(j["stretches"][0]["qualities"].size(), 60u);
  EXPECT_EQ(j["summary"]["hrv"]["rmssd"]["value"], (*f.hrv.timeDomain)[5]);
  EXPECT_EQ(j["summary"]["hrv"]["lf_hf"]["value"], (*f.hrv.frequencyDomain)[5]);
  EXPECT_EQ(j["summary"]["hrBpm"], *f.hrBpm);
  EXPECT_EQ(j["codes"]["error"]["5"], error_meaning(5));
  EXPECT_EQ(j["fullScaleSource"], "header");
  ASSERT_EQ(j["fiveMinuteSegments"].size(), 2u);
  EXPECT_EQ(j["fiveMinuteSegments"][1]["startSeconds"], 300.0);
  EXPECT_EQ(j["fiveMinuteSegments"][0]["normalBeats"].get<int64_t>() + j["fiveMinuteSegments"][1]["normalBeats"].get<int64_t>(),
            j["beats"]["normal"]["count"].get<int64_t>());
  // 200 Hz positions map to the file's 360 Hz samples and to seconds.
  const auto& normal = j["beats"]["normal"];
  ASSERT_GT(normal["count"].get<std::size_t>(), 0u);
  EXPECT_EQ(j["summary"]["normalBeats"], f.normal.samples200Hz.size());
  const int64_t at200 = normal["samples200Hz"][0];
  EXPECT_EQ(normal["fileSamples"][0].get<int64_t>(), std::llround(static_cast<double>(at200) * 1.8));
  EXPECT_NEAR(normal["seconds"][0].get<double>(), static_cast<double>(at200) / 200.0, 5e-4);
}

// The bundled excerpt's page holds its template, style, script and data,
// and the beats and statistics of the analysis.
TEST(HtmlReport, TheBundledExcerptsPageCarriesItsScriptDataAndSignal) {
  RecordingAnalysis f = bundled_excerpt();
  const ReportInput in = report_input(f, {});
  EXPECT_EQ(in.normalBeats.size() + in.extraSystoles.size(), f.beats.size());
  EXPECT_FALSE(in.startOfDaySeconds);  // MIT-BIH headers give no start time
  f.recording.startTime = "2026-11-24T23:55:30";
  const ReportInput timed = report_input(f, {});
  EXPECT_EQ(timed.startDate, "2026-11-24");
  EXPECT_EQ(timed.startOfDaySeconds, 23 * 3600 + 55 * 60 + 30);
  const ReportDocument doc = report_document(in);
  const auto j = nlohmann::json::parse(doc.json);
  EXPECT_EQ(j["beats"]["normal"].size(), in.normalBeats.size());
  EXPECT_EQ(j["meta"]["signal200"]["samples"], f.ecg200.size());
  EXPECT_EQ(j["meta"]["signal200"]["unitsPerMillivolt"], 1.0);  // the header's gain gives mV
  EXPECT_EQ(std::count(doc.signalLines.begin(), doc.signalLines.end(), '\n'), 10);
  // Ten minutes are enough for SDNN, not for SDANN nor ULF; the trend has
  // the two 5-minute segments with their slowest and fastest rates.
  auto row = [&](const char* table, const char* key, const char* name) {
    for (const auto& r : (std::string(table) == "time" ? j["timeDomain"] : j["frequencyDomain"]["rows"]))
      if (r[key] == name) return r;
    return nlohmann::json();
  };
  EXPECT_TRUE(row("time", "key", "sdnn")["needs"].is_null());
  EXPECT_EQ(row("time", "key", "sdann")["needs"], "needs at least 30 minutes");
  EXPECT_EQ(row("freq", "band", "ULF")["needs"], "needs about 24 hours");
  EXPECT_TRUE(row("freq", "band", "HF")["needs"].is_null());
  EXPECT_NEAR(row("freq", "band", "HF")["powerMs2"].get<double>(), (*f.hrv.frequencyDomain)[4] * 1e6, 1e-6);
  ASSERT_EQ(j["trend"].size(), 2u);
  EXPECT_LE(j["trend"][0]["minHr"].get<double>(), j["trend"][0]["meanHr"].get<double>());
  EXPECT_GE(j["trend"][0]["maxHr"].get<double>(), j["trend"][0]["meanHr"].get<double>());
  const std::string page = render_report(in);
  EXPECT_EQ(page.find("{{"), std::string::npos);
  EXPECT_NE(page.find("id=\"report-data\""), std::string::npos);
  EXPECT_NE(page.find("function draw_spectrum"), std::string::npos);
}

}  // namespace
}  // namespace zyn::cli
