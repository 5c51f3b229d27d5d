// The HTML report and the JSON document: the Lomb periodogram used for
// display finds a known rhythm; the report renders in headless Chromium
// without errors and draws every figure; the JSON holds the library's
// results, their positions and the meaning of each code.
#include <cmath>
#include <random>
#include <regex>

#include "output.hpp"
#include "report.hpp"
#include "support.hpp"

namespace zyn::cli {
namespace {

using namespace testing;

TEST(LombPeriodogram, FindsTheRhythmOfAnUnevenlySampledSine) {
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> rr(0.7, 0.9);
  std::vector<double> t, v;
  for (double s = 0; s < 600; s += rr(rng)) {
    t.push_back(s);
    v.push_back(0.8 + 0.05 * std::sin(2 * M_PI * 0.25 * s));
  }
  const auto p = lomb_periodogram(t, v, 0.001, 0.5, 500);
  ASSERT_EQ(p.size(), 500u);
  const auto peak = std::max_element(p.begin(), p.end(), [](auto& a, auto& b) { return a.power < b.power; });
  EXPECT_NEAR(peak->frequencyHz, 0.25, 0.002);
  double area = 0;
  for (const auto& point : p) area += point.power * (p[1].frequencyHz - p[0].frequencyHz);
  EXPECT_NEAR(area, 0.05 * 0.05 / 2, 1e-4);  // the variance of the sine
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

TEST(HtmlReport, RendersInHeadlessChromiumWithoutErrors) {
  const std::string chromium = ZYN_CHROMIUM;
  if (chromium.empty()) GTEST_SKIP() << "chromium is not installed";
  ScratchDir dir;
  const RecordingAnalysis f = bundled_excerpt();
  write_file_atomically(dir / "report.html", html_report(f));
  const auto dom = run("timeout 120 " + chromium +
                       " --headless --no-sandbox --disable-gpu --disable-background-networking"
                       " --disable-component-update --disable-sync --no-first-run --enable-logging=stderr --v=0"
                       " --user-data-dir=" + (dir / "profile").string() +
                       " --dump-dom file://" + (dir / "report.html").string());
  ASSERT_EQ(dom.status, 0) << dom.output;
  // The page's own script ran to its end and counted every figure: the
  // quality overview, tachogram, spectrum and one strip per 10 s.
  const auto figures = 3 + static_cast<int>(f.ecg200.size() / 2000);
  EXPECT_NE(dom.output.find("data-rendered=\"svg:" + std::to_string(figures) + "\""), std::string::npos);
  EXPECT_EQ(dom.output.find("Uncaught"), std::string::npos) << dom.output;
  EXPECT_FALSE(std::regex_search(dom.output, std::regex("CONSOLE.*(error|Error)"))) << dom.output;
}

}  // namespace
}  // namespace zyn::cli
