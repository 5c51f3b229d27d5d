// Beats written with --annotations, read back through the project's own MIT
// annotation decoder: the WFDB excerpt's beats at its own 360 Hz sample
// numbers, as the JSON gives them and close to the expert's, and the beats
// of its 200 Hz CSV copy behind the note that states that rate.
#include <nlohmann/json.hpp>

#include "support.hpp"
#include "wfdb/annotations.hpp"

namespace zyn::cli {
namespace {

using namespace testing;

constexpr int kNormal = 1, kExtraSystole = 5, kNote = 22;

std::vector<double> beat_seconds(const std::vector<wfdb::Annotation>& annotations, double fsHz) {
  std::vector<double> out;
  for (const auto& a : annotations)
    if (wfdb::is_beat(a.code)) out.push_back(static_cast<double>(a.sample) / fsHz);
  return out;
}

TEST(BeatAnnotations, ReadBackAtTheFilesOwnRate) {
  ScratchDir dir;
  const fs::path data = source_dir() / "data";
  const auto r = run(zynecg() + " analyse --mode qrs --json " + (dir / "100.json").string() + " --annotations " +
                     (dir / "100.zyn").string() + " " + (data / "mitdb-100-excerpt.hea").string());
  ASSERT_EQ(r.status, 0) << r.output;
  const auto json = nlohmann::json::parse(read_text(dir / "100.json"));
  std::vector<std::pair<int64_t, int>> expected;
  for (const int64_t s : json["beats"]["normal"]["fileSamples"]) expected.emplace_back(s, kNormal);
  for (const int64_t s : json["beats"]["extraSystoles"]["fileSamples"]) expected.emplace_back(s, kExtraSystole);
  std::sort(expected.begin(), expected.end());

  const auto written = wfdb::read_annotations(dir / "100.zyn");
  std::vector<std::pair<int64_t, int>> got;
  for (const auto& a : written) got.emplace_back(a.sample, a.code);
  EXPECT_EQ(got, expected);
  const auto expert = beat_seconds(wfdb::read_annotations(data / "mitdb-100-excerpt.atr"), 360.0);
  EXPECT_LE(unmatched(beat_seconds(written, 360.0), expert, 1.0, 599.0).size(), 2u);

  // The CSV copy has no header to give its rate: the file opens with the note.
  const auto csv = run(zynecg() + " analyse --mode qrs --fs 200 --annotations " + (dir / "csv.zyn").string() + " " +
                       (data / "mitdb-100-excerpt-200hz.csv").string());
  ASSERT_EQ(csv.status, 0) << csv.output;
  const auto fromCsv = wfdb::read_annotations(dir / "csv.zyn");
  ASSERT_FALSE(fromCsv.empty());
  EXPECT_EQ(std::tie(fromCsv[0].sample, fromCsv[0].code, fromCsv[0].aux),
            std::make_tuple(int64_t{0}, kNote, std::string("## time resolution: 200")));
  const auto at200 = beat_seconds(fromCsv, 200.0), at360 = beat_seconds(written, 360.0);
  EXPECT_EQ(at200.size(), at360.size());
  EXPECT_TRUE(unmatched(at200, at360, 0.0, 600.0).empty());
}

}  // namespace
}  // namespace zyn::cli
