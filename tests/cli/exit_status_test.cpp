// Exit statuses and messages of `zynecg analyse`, run as a user runs it: 0
// only when every file was analysed; 1 with one line saying why when a file
// cannot be read or gives nothing; 2 for a wrong command line. `--json -`
// leaves standard output one JSON document.
#include <nlohmann/json.hpp>

#include <regex>

#include "support.hpp"

namespace zyn::cli {
namespace {

using namespace testing;

std::string excerpt() { return (source_dir() / "data" / "mitdb-100-excerpt.hea").string(); }

std::size_t lines_of(const std::string& text) { return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')); }

TEST(ExitStatus, TellsAnalysedFromUnreadableFromNothingFoundFromMisuse) {
  const std::string tool = zynecg();
  const auto version = run(tool + " --version");
  EXPECT_EQ(version.status, 0);
  EXPECT_TRUE(std::regex_search(version.output, std::regex("^zynecg [0-9]+\\.[0-9]+\\.[0-9]+\nlibzynecgsolver [0-9]")))
      << version.output;

  for (const std::string misuse : {"", " analyse", " analyse --mode fast x.csv", " analyse --fs 0 x.csv",
                                   " analyse --time-unit h x.csv", " analyse --no-such-option x.csv"}) {
    EXPECT_EQ(run(tool + misuse).status, 2) << misuse;
  }

  const auto missing = run(tool + " analyse /nonexistent/ecg.csv");
  EXPECT_EQ(missing.status, 1);
  EXPECT_EQ(missing.output, "zynecg: /nonexistent/ecg.csv: no such file\n");

  // 360 Hz samples declared as 100 Hz: every stretch is refused, one line says so.
  const auto wrongRate = run(tool + " analyse --mode qrs --fs 100 " + excerpt());
  EXPECT_EQ(wrongRate.status, 1) << wrongRate.output;
  EXPECT_EQ(lines_of(wrongRate.output), 1u) << wrongRate.output;
  EXPECT_NE(wrongRate.output.find(excerpt() + ": nothing could be analysed: error 3 "), std::string::npos)
      << wrongRate.output;
  EXPECT_NE(wrongRate.output.find("is 100 Hz (--fs) the file's sampling rate?"), std::string::npos);

  const auto good = run(tool + " analyse --mode qrs " + excerpt());
  EXPECT_EQ(good.status, 0) << good.output;
  EXPECT_NE(good.output.find("beats:       758 (758 normal, 0 extra systoles)"), std::string::npos) << good.output;
}

TEST(ExitStatus, JsonToStandardOutputStaysOneDocument) {
  const auto r = run(zynecg() + " analyse --mode qrs --json - " + excerpt(), Capture::StandardOutputOnly);
  EXPECT_EQ(r.status, 0);
  const auto json = nlohmann::json::parse(r.output, nullptr, false);
  ASSERT_FALSE(json.is_discarded()) << r.output.substr(0, 200);
  EXPECT_EQ(json["beats"]["normal"]["count"], 758);
}

}  // namespace
}  // namespace zyn::cli
