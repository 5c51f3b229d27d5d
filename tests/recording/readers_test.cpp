// Readers of the command-line tool: WFDB records against their known samples,
// the bundled excerpt against its original record, an EDF+ file written with
// libedf and read back, CSV layouts and raw samples.
#include <edflib.h>

#include <cmath>
#include <cstring>
#include <tuple>

#include "recording.hpp"
#include "recording/support.hpp"
#include "wfdb/annotations.hpp"
#include "wfdb/resample.hpp"

namespace zyn::recording {
namespace {

using namespace testing;

ReadOptions with(std::optional<double> fs, const std::string& signal = "") {
  ReadOptions o;
  o.fsHz = fs;
  o.signal = signal;
  return o;
}

TEST(WfdbReader, MitdbRecordGivesKnownSamplesInMillivoltsAndTheBundledExcerptMatchesIt) {
  ZYN_REQUIRE_MITDB();
  const fs::path record = data_dir() / "mitdb" / "100";
  const Recording mlii = read_recording(record.string() + ".hea", {});
  EXPECT_EQ(std::tuple(mlii.format, mlii.signalName, mlii.fsHz), std::tuple("wfdb", "MLII", 360.0));
  ASSERT_EQ(mlii.samples.size(), 650000u);
  EXPECT_DOUBLE_EQ(mlii.samples[0], (995 - 1024) / 200.0);  // first value in the header
  EXPECT_DOUBLE_EQ(*mlii.fullScale, 1024 / 200.0);          // 11-bit range around 1024
  // The second signal by name from the bare record name, and by number from the signal file's name.
  EXPECT_DOUBLE_EQ(read_recording(record.string(), with({}, "V5")).samples[0], (1011 - 1024) / 200.0);
  EXPECT_DOUBLE_EQ(read_recording(record.string() + ".dat", with({}, "1")).samples[0], (1011 - 1024) / 200.0);

  // The bundled excerpt holds the record's first 600 s, its CSV copy the same at 200 Hz.
  const Recording excerpt = read_recording((source_dir() / "data" / "mitdb-100-excerpt.hea").string(), {});
  ASSERT_EQ(excerpt.samples.size(), 216000u);
  EXPECT_TRUE(std::equal(excerpt.samples.begin(), excerpt.samples.end(), mlii.samples.begin()));
  const Recording csv = read_recording((source_dir() / "data" / "mitdb-100-excerpt-200hz.csv").string(), with(200));
  const auto at200 = at_analysis_rate(excerpt);
  ASSERT_EQ(csv.samples.size(), 120000u);
  ASSERT_EQ(at200.size(), csv.samples.size());
  for (std::size_t i = 0; i < at200.size(); i += 997) EXPECT_NEAR(csv.samples[i], at200[i], 1e-6) << i;
}

// The start time of the first sample comes from the record line's base time
// and date.
TEST(WfdbReader, StartTimeFromTheHeadersBaseTimeAndDate) {
  ScratchDir dir;
  write_text(dir / "rec.dat", std::string(600, '\0'));
  write_text(dir / "rec.hea", "rec 1 200 300 10:30:05 24/12/2026\nrec.dat 16 200 16 0 0 0 0 ECG\n");
  EXPECT_EQ(read_recording((dir / "rec.hea").string(), {}).startTime, "2026-12-24T10:30:05");
  write_text(dir / "rec.hea", "rec 1 200 300 7:05:00\nrec.dat 16 200 16 0 0 0 0 ECG\n");
  EXPECT_EQ(read_recording((dir / "rec.hea").string(), {}).startTime, "07:05:00");
  write_text(dir / "rec.hea", "rec 1 200 300\nrec.dat 16 200 16 0 0 0 0 ECG\n");
  EXPECT_EQ(read_recording((dir / "rec.hea").string(), {}).startTime, "");
}

double ecg_mv(double t) { return 1.5 * std::sin(2 * M_PI * 1.3 * t); }

// An EDF+ file written with libedf: a respiration channel first, then an ECG
// sine in microvolts, so that the reader must pick the ECG by its label;
// physical range +-8192 uV over the 16-bit digital range.
constexpr int kEdfRate = 250, kEdfSeconds = 12;

void write_edf_plus(const std::string& path) {
  const int handle = edfopen_file_writeonly(path.c_str(), EDFLIB_FILETYPE_EDFPLUS, 2);
  ASSERT_GE(handle, 0);
  const char* labels[] = {"Resp", "ECG II"};
  for (int s = 0; s < 2; ++s)
    ASSERT_EQ(edf_set_samplefrequency(handle, s, kEdfRate) | edf_set_physical_maximum(handle, s, 8192.0) |
                  edf_set_physical_minimum(handle, s, -8192.0) | edf_set_digital_maximum(handle, s, 32767) |
                  edf_set_digital_minimum(handle, s, -32768) | edf_set_label(handle, s, labels[s]) |
                  edf_set_physical_dimension(handle, s, "uV"),
              0);
  std::vector<double> block(kEdfRate);
  for (int second = 0; second < kEdfSeconds; ++second) {
    std::fill(block.begin(), block.end(), 0.0);
    ASSERT_EQ(edfwrite_physical_samples(handle, block.data()), 0);
    for (int i = 0; i < kEdfRate; ++i) block[static_cast<std::size_t>(i)] = 1000.0 * ecg_mv(second + i / double(kEdfRate));
    ASSERT_EQ(edfwrite_physical_samples(handle, block.data()), 0);
  }
  ASSERT_EQ(edfclose_file(handle), 0);
}

TEST(EdfReader, EdfPlusFileRoundTripsInMillivolts) {
  ScratchDir dir;
  const std::string path = (dir / "plus.edf").string();
  write_edf_plus(path);
  const Recording r = read_recording(path, {});
  EXPECT_EQ(std::tuple(r.format, r.signalName, r.units, r.fsHz), std::tuple("edf", "ECG II", "mV", kEdfRate));
  ASSERT_EQ(r.samples.size(), static_cast<std::size_t>(kEdfRate * kEdfSeconds));
  EXPECT_NEAR(*r.fullScale, 8.192, 1e-9);
  const double quantum = 16384.0 / 65535.0 / 1000.0;  // one digital step in mV
  for (std::size_t i = 0; i < r.samples.size(); i += 37)
    EXPECT_NEAR(r.samples[i], ecg_mv(static_cast<double>(i) / kEdfRate), quantum) << i;
  EXPECT_NEAR(read_recording(path, with({}, "Resp")).samples[100], 0.0, quantum);
}

TEST(CsvReader, AcceptsTheCommonLayouts) {
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
      {"0;1,5\n0,5;-2,25\n", {}, "column 1", 2.0, {1.5, -2.25}},         // decimal commas (here and below)
      {"t\tecg\n0\t +1,5\n0,5\t-2\n", {}, "ecg", 2.0, {1.5, -2.0}},      // tabs, plus signs and spaces
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

TEST(RawReader, ReadsLittleEndianFloat64AndInt16) {
  ScratchDir dir;
  const std::vector<double> values = {0.25, -1.5, 3.0};
  std::string bytes(values.size() * 8, '\0');
  std::memcpy(bytes.data(), values.data(), bytes.size());  // the test machine is little-endian
  Recording r = read_recording(write_text(dir / "x.f64", bytes), with(500));
  EXPECT_EQ(r.samples, values);
  EXPECT_EQ(r.fsHz, 500.0);
  r = read_recording(write_text(dir / "x.i16", std::string("\x01\x00\xff\xff\x00\x80", 6)), with(200));
  EXPECT_EQ(r.samples, (std::vector<double>{1, -1, -32768}));
  EXPECT_EQ(*r.fullScale, 32768.0);

  // Over several read chunks, every sample in order.
  std::string many;
  for (int i = 0; i < 200000; ++i) {
    const auto v = static_cast<uint16_t>(static_cast<int16_t>(i % 4001 - 2000));
    many += static_cast<char>(v & 0xFF);
    many += static_cast<char>(v >> 8);
  }
  r = read_recording(write_text(dir / "many.i16", many), with(360));
  ASSERT_EQ(r.samples.size(), 200000u);
  EXPECT_EQ(r.sampleCount, 200000);
  for (std::size_t i = 0; i < r.samples.size(); i += 9973) EXPECT_EQ(r.samples[i], static_cast<double>(static_cast<int>(i % 4001) - 2000)) << i;
}

}  // namespace
}  // namespace zyn::recording
