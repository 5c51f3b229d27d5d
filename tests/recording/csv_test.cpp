// CSV text: the layouts met in practice (separators, decimal commas, time
// columns in seconds or milliseconds, named in English or German, with the
// unit in the name or not), and the files that could be read two ways,
// refused with the line that shows it.
#include <cmath>

#include "recording.hpp"
#include "recording/support.hpp"

namespace zyn::recording {
namespace {

using namespace testing;

ReadOptions with(std::optional<double> fs, const std::string& signal = "",
                 std::optional<TimeUnit> timeUnit = std::nullopt) {
  ReadOptions o;
  o.fsHz = fs;
  o.signal = signal;
  o.timeUnit = timeUnit;
  return o;
}

TEST(CsvReader, ReadsSeparatorDecimalMarkAndTimeUnitFromTheContent) {
  // Semicolons and a header; timestamps rounded to the millisecond at 360 Hz.
  std::string at360 = "time;MLII;V5\n";
  for (int i = 0; i < 360; ++i)
    at360 += std::to_string(std::round(i / 0.36) / 1000.0) + ";" + std::to_string(i) + ";" + std::to_string(-i) + "\n";
  const double fs360 = 359.0 / (std::round(359 / 0.36) / 1000.0);
  const struct {
    std::string text;
    ReadOptions options;
    std::string name;
    double fs;
    std::vector<double> first;
  } cases[] = {
      {"ecg_mv\n0.1\n-0.2\n0.3\n", with(200), "ecg_mv", 200.0, {0.1, -0.2, 0.3}},  // one column, rate from --fs
      {"0.000,1\r\n0.004,2\r\n0.008,3\r\n0.012,4\r\n", {}, "column 1", 250.0, {1, 2, 3, 4}},  // no header, CRLF
      {at360, {}, "MLII", fs360, {0, 1, 2}},
      {at360, with({}, "V5"), "V5", fs360, {0, -1, -2}},
      {at360, with({}, "2"), "V5", fs360, {0, -1, -2}},
      // Decimal commas with semicolons or tabs, plus signs and spaces.
      {"Zeit;EKG\n0,000;-0,1450\n0,004;0,0125\n0,008; +1,5\n", {}, "EKG", 250.0, {-0.145, 0.0125, 1.5}},
      {"0;1,5\n0,005;-2,25\n0,010;0\n", {}, "column 1", 200.0, {1.5, -2.25}},
      {"EKG\n-0,1450\n0,5\n", with(200), "EKG", 200.0, {-0.145, 0.5}},
      // One column of decimal commas without header: "-0" and "0450" cannot be whole numbers.
      {"-0,1450\n-0,1200\n0,0150\n", with(200), "column 0", 200.0, {-0.145, -0.12, 0.015}},
      // Milliseconds from the name, from the option, or as the only unit giving an ECG rate.
      {"t_ms\tecg\n0\t0,5\n4\t0,25\n8\t-0,125\n", {}, "ecg", 250.0, {0.5, 0.25, -0.125}},
      {"time_ms,ecg\n0,0.1\n2.5,0.2\n5,0.3\n", {}, "ecg", 400.0, {0.1, 0.2}},
      {"time,ecg\n0,1\n5,2\n10,3\n", {}, "ecg", 200.0, {1, 2}},
      {"time_s,ecg\n0,1\n4,2\n8,3\n", with({}, "", TimeUnit::Milliseconds), "ecg", 250.0, {1, 2}},
      // A time column after the signal; a sample-number column skipped by name.
      {"ecg;Zeit [s]\n1,5;0\n2,5;0,005\n", {}, "ecg", 200.0, {1.5, 2.5}},
      {"sample,ecg\n0,0.5\n1,0.7\n2,0.1\n", with(200, "ecg"), "ecg", 200.0, {0.5, 0.7, 0.1}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text.substr(0, 24));
    const Recording r = parse_csv(c.text, "a.csv", c.options);
    EXPECT_EQ(r.signalName, c.name);
    EXPECT_NEAR(r.fsHz, c.fs, 1e-9);
    ASSERT_GE(r.samples.size(), c.first.size());
    EXPECT_EQ(std::vector<double>(r.samples.begin(), r.samples.begin() + std::ssize(c.first)), c.first);
  }
}

TEST(CsvReader, RefusesWhatCouldBeReadTwoWaysNamingTheLine) {
  const struct {
    std::string text;
    ReadOptions options;
    std::string problem;
  } cases[] = {
      {"1,25\n1,5\n2,75\n", with(200), "line 1: '1,25' may be one number with a decimal comma or two columns"},
      {"Zeit;EKG\n0;0,5\n0,004;0.25\n", {}, "line 3: '0.25' has a decimal point but line 2 a decimal comma"},
      {"Zeit [ms];EKG\n0;0,5\n1.000,5;0,25\n", {}, "line 3: '1.000,5' holds both a decimal point and a comma"},
      {"time_ms,ecg\n0,0.1\n0.004,0.2\n0.008,0.3\n", {}, "line 1: time column 'time_ms' read in ms gives 250000 Hz, no ECG sampling rate (in s 250 Hz)"},
      {"\nt,ecg\n0,1\n100,2\n200,3\n", {}, "line 2: time column 't' gives 0.01 Hz read in seconds, 10 Hz in milliseconds"},
      {"sample,ecg\n0,0.5\n1,0.7\n2,0.1\n", with(200), "line 1: column 'sample' rises by an even step on every line"},
      {"t;ecg\n0;1\n0,005;1\n0,030;1\n0,035;1\n", {}, "line 3: time column is not evenly spaced (expected about 0.0116667 s)"},
  };
  for (const auto& c : cases) {
    const std::string message = error_of<InputError>([&] { (void)parse_csv(c.text, "a.csv", c.options); });
    EXPECT_NE(message.find("a.csv: " + c.problem), std::string::npos) << c.text << " -> " << message;
  }
}

}  // namespace
}  // namespace zyn::recording
