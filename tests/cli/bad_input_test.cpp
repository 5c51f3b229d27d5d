// Unusable input: every problem gives one message naming the file and the
// problem; in a batch the other files are still analysed, the summary marks
// the failures, the exit status is non-zero and no half-written output stays.
#include <unistd.h>

#include "output.hpp"
#include "support.hpp"

namespace zyn::cli {
namespace {

using namespace testing;

FileOptions at_fs(double fs, Mode mode = Mode::Both) {
  FileOptions o;
  o.read.fsHz = fs;
  o.mode = mode;
  return o;
}

std::string csv_of(std::size_t samples) {
  std::string text = "mv\n";
  for (std::size_t i = 0; i < samples; ++i) text += i % 160 == 0 ? "1.2\n" : "0.01\n";
  return text;
}

// 200 Hz CSV whose runs of numbers are all too short to analyse.
std::string nan_every_5_seconds(std::size_t samples) {
  std::string text = "mv\n";
  for (std::size_t i = 0; i < samples; ++i) text += i % 1000 == 999 ? "nan\n" : "0.01\n";
  return text;
}

TEST(BadInput, EachProblemIsNamedWithItsFile) {
  ScratchDir dir;
  write_text(dir / "rec.dat", std::string(1000, '\0'));
  struct Case {
    std::string path;
    FileOptions options;
    std::string problem;
    std::string named = path;  // the file the message starts with
  };
  const std::vector<Case> cases = {
      {(dir / "missing.csv").string(), at_fs(200), "no such file"},
      {(dir / "missing.hea").string(), {}, "no such record"},
      {write_text(dir / "empty.csv", ""), at_fs(200), "is empty"},
      {write_text(dir / "blank.csv", "\n \r\n"), at_fs(200), "is empty"},
      {write_text(dir / "header-only.csv", "mv\n"), at_fs(200), "no samples"},
      {write_text(dir / "words.csv", "mv\n0.1\nabc\n"), at_fs(200), "line 3, column 1: 'abc' is not a number"},
      {write_text(dir / "ragged.csv", "t,mv\n0,1\n0.005,2,3\n"), {}, "line 3: 3 fields where the first line has 2"},
      {write_text(dir / "nan.csv", nan_every_5_seconds(4000)), at_fs(200), "no stretch of 15.0 s or more without"},
      {write_text(dir / "uneven.csv", "0,1\n0.005,1\n0.030,1\n0.035,1\n"), {}, "not evenly spaced"},
      {write_text(dir / "backwards.csv", "0.1,1\n0,1\n"), {}, "does not increase"},
      {write_text(dir / "no-rate.csv", "mv\n1\n2\n"), {}, "give the sampling rate with --fs"},
      {write_text(dir / "fs0.csv", csv_of(4000)), at_fs(0), "sampling rate must be positive"},
      {write_text(dir / "fs-absurd.csv", csv_of(4000)), at_fs(1e15), "sampling rate must lie between 1 Hz and 1 MHz"},
      {write_text(dir / "short.csv", csv_of(2000)), at_fs(200), "too short: 10.0 s recorded, the beat detection needs at least 15.0 s"},
      {write_text(dir / "odd.f64", std::string(12, '\0')), at_fs(200), "not a multiple of 8"},
      {write_text(dir / "raw.f64", std::string(16, '\0')), {}, "give --fs"},
      {write_text(dir / "unknown.xyz", "1\n"), {}, "unknown file type"},
      {write_text(dir / "garbage.edf", std::string(300, 'x')), {}, "not a valid EDF"},
      {write_text(dir / "bad.hea", "bad 1 abc 100\nbad.dat 212 200 11 1024 0 0 0 I\n"), {}, "bad.hea"},
      {write_text(dir / "3min.csv", csv_of(35999)), at_fs(200, Mode::Hrv), "HRV analysis needs at least 180.0 s"},
      {write_text(dir / "rec.hea", "rec 1 360 650000\nrec.dat 212 200 11 1024\n"), {}, "rec.dat: truncated",
       (dir / "rec.dat").string()},
  };
  for (const Case& c : cases) {
    const std::string message = error_of<InputError>([&] { (void)analyse_file(c.path, c.options); });
    EXPECT_EQ(message.rfind(c.named + ": ", 0), 0u) << c.path << " -> " << message;
    EXPECT_NE(message.find(c.problem), std::string::npos) << c.path << " -> " << message;
  }
}

TEST(BadInput, BatchGoesOnAndMarksFailuresWithoutLeavingPartialFiles) {
  ZYN_REQUIRE_MITDB();
  ScratchDir dir;
  const std::string good = (source_dir() / "data" / "mitdb-100-excerpt-200hz.csv").string();
  const std::string bad = write_text(dir / "bad.csv", "mv\n1\nx\n");
  const auto r = run(zynecg() + " analyse --mode qrs --fs 200 --jobs 2 --json " + (dir / "o.json").string() +
                     " --summary " + (dir / "s.csv").string() + " " + good + " " + bad);
  EXPECT_EQ(r.status, 1) << r.output;
  EXPECT_NE(r.output.find("zynecg: " + bad + ": line 3, column 1: 'x' is not a number"), std::string::npos) << r.output;
  const std::string summary = read_text(dir / "s.csv");
  EXPECT_NE(summary.find("\"" + good + "\",ok,600.00,"), std::string::npos) << summary;
  EXPECT_NE(summary.find("\"" + bad + "\",failed,"), std::string::npos) << summary;
  EXPECT_NE(read_text(dir / "o.json").find("\"failed\""), std::string::npos);
  for (const auto& entry : fs::directory_iterator(dir.path()))
    EXPECT_EQ(entry.path().string().find(".tmp-"), std::string::npos) << entry.path();

  // An output that cannot be written is an error too, and nothing is left.
  const auto blocked = run(zynecg() + " analyse --mode qrs --fs 200 --json " + bad + "/x.json " + good);
  EXPECT_NE(blocked.status, 0);
  EXPECT_NE(blocked.output.find(bad + "/x.json: cannot write"), std::string::npos) << blocked.output;
}

}  // namespace
}  // namespace zyn::cli
