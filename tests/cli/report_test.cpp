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

FileAnalysis bundled_excerpt() {
  return analyse_file((source_dir() / "data" / "mitdb-100-excerpt.hea").string(), {});
}

// The 600 s excerpt is one HRV call: the tool's numbers must be the library's
// own for the same samples, as a Java caller would get them.
TEST(JsonOutput, HoldsTheLibraryResultsTheirPositionsAndTheMeaningOfEachCode) {
  const FileAnalysis f = bundled_excerpt();
  const auto j = to_json(f);
  ASSERT_EQ(j["stretches"]["qrs"].size(), f.qrs->stretches.size());
  ASSERT_EQ(j["stretches"]["hrv"].size(), 1u);
  const auto& tool = j["stretches"]["hrv"][0]["hrv"];
  EXPECT_EQ(tool["rpeaks"].size(), static_cast<std::size_t>(tool["beatArrayLength"].get<int>()));
  EXPECT_EQ(tool["qualities"].size(), 60u);
  AnalysisRequest request;
  request.ecg = std::span<const double>(f.ecg200);
  request.fullScale = f.fullScale;
  const HrvAnalysis direct = analyse_hrv(request);
  EXPECT_EQ(tool["error"], direct.error);
  EXPECT_EQ(tool["hr"], direct.hr);
  EXPECT_EQ(tool["hrMean"], direct.hrMean);
  EXPECT_EQ(tool["rpeaks"], direct.rpeaks);
  EXPECT_EQ(tool["extraSystoles"], direct.extraSystoles);
  EXPECT_EQ(tool["qualities"], direct.qualities);
  EXPECT_EQ(tool["timeDomain"]["sdnn"], direct.timeDomain[2]);
  EXPECT_EQ(tool["frequencyDomain"]["lf_hf"], direct.frequencyDomain[5]);
  EXPECT_EQ(j["summary"]["hrv"]["rmssd"]["value"], direct.timeDomain[5]);
  EXPECT_EQ(j["codes"]["error"]["5"], error_meaning(5));
  EXPECT_EQ(j["fullScaleSource"], "header");
  // 200 Hz positions map to the file's 360 Hz samples and to seconds.
  const auto& normal = j["beats"]["normal"];
  ASSERT_GT(normal["count"].get<std::size_t>(), 0u);
  EXPECT_EQ(j["summary"]["normalBeats"], f.summary.normalBeats);
  const int64_t at200 = normal["samples200Hz"][0];
  EXPECT_EQ(normal["fileSamples"][0].get<int64_t>(), std::llround(static_cast<double>(at200) * 1.8));
  EXPECT_NEAR(normal["seconds"][0].get<double>(), static_cast<double>(at200) / 200.0, 5e-4);
}

TEST(HtmlReport, RendersInHeadlessChromiumWithoutErrors) {
  const std::string chromium = ZYN_CHROMIUM;
  if (chromium.empty()) GTEST_SKIP() << "chromium is not installed";
  ScratchDir dir;
  const FileAnalysis f = bundled_excerpt();
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
