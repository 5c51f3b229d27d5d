// Readers of the command-line tool: WFDB records against their known samples,
// the bundled excerpt against its original record, an EDF+ file written with
// libedf and read back, CSV layouts and raw samples.
#include <edflib.h>

#include <cmath>
#include <cstring>
#include <tuple>

#include "excerpt.hpp"
#include "recording.hpp"
#include "support.hpp"
#include "wfdb/annotations.hpp"
#include "wfdb/resample.hpp"

namespace zyn::cli {
namespace {

using namespace testing;

ReadOptions with_fs(double fs) {
  ReadOptions o;
  o.fsHz = fs;
  return o;
}

TEST(WfdbReader, MitdbRecordGivesKnownSamplesInMillivolts) {
  ZYN_REQUIRE_MITDB();
  const Recording mlii = read_recording((data_dir() / "mitdb" / "100.hea").string(), {});
  EXPECT_EQ(mlii.format, "wfdb");
  EXPECT_EQ(mlii.signalName, "MLII");
  EXPECT_EQ(mlii.fsHz, 360.0);
  ASSERT_EQ(mlii.samples.size(), 650000u);
  EXPECT_DOUBLE_EQ(mlii.samples[0], (995 - 1024) / 200.0);  // first value in the header
  EXPECT_DOUBLE_EQ(*mlii.fullScale, 1024 / 200.0);          // 11-bit range around 1024

  ReadOptions v5;
  v5.signal = "V5";
  EXPECT_DOUBLE_EQ(read_recording((data_dir() / "mitdb" / "100").string(), v5).samples[0], (1011 - 1024) / 200.0);
  v5.signal = "1";
  EXPECT_DOUBLE_EQ(read_recording((data_dir() / "mitdb" / "100.dat").string(), v5).samples[0], (1011 - 1024) / 200.0);
}

TEST(Excerpt, BundledFilesMatchTheOriginalRecord) {
  ZYN_REQUIRE_MITDB();
  const auto bundled = source_dir() / "data";
  const Recording excerpt = read_recording((bundled / "mitdb-100-excerpt.hea").string(), {});
  const Recording original = read_recording((data_dir() / "mitdb" / "100.hea").string(), {});
  ASSERT_EQ(excerpt.samples.size(), 216000u);
  EXPECT_TRUE(std::equal(excerpt.samples.begin(), excerpt.samples.end(), original.samples.begin()));

  const Recording csv = read_recording((bundled / "mitdb-100-excerpt-200hz.csv").string(), with_fs(200));
  const auto at200 = at_analysis_rate(excerpt);
  ASSERT_EQ(csv.samples.size(), 120000u);
  ASSERT_EQ(at200.size(), csv.samples.size());
  for (std::size_t i = 0; i < at200.size(); i += 997) EXPECT_NEAR(csv.samples[i], at200[i], 1e-6) << i;
}

TEST(Excerpt, AnnotationEncodingRoundTripsLongGapsAndTexts) {
  std::vector<wfdb::Annotation> in(4);
  in[0] = {18, 28, 0, 0, 0, "(N"};
  in[1] = {25, 1, 0, 0, 0, ""};
  in[2] = {25 + 5000, 5, 0, 0, 0, ""};   // needs SKIP
  in[3] = {25 + 5001, 14, -1, 1, 0, ""}; // signed subtype, channel change
  const auto bytes = encode_annotations(in);
  const auto out = wfdb::parse_annotations(bytes, "encoded");
  ASSERT_EQ(out.size(), in.size());
  for (std::size_t i = 0; i < in.size(); ++i) {
    const auto& [o, e] = std::tie(out[i], in[i]);
    EXPECT_EQ(std::tie(o.sample, o.code, o.subtype, o.channel, o.aux),
              std::tie(e.sample, e.code, e.subtype, e.channel, e.aux)) << i;
  }
  const std::vector<int32_t> samples = {-2048, 2047, 0, -1, 995};
  EXPECT_EQ(wfdb::decode_format212(encode_format212(samples), samples.size()), samples);
}

double ecg_mv(double t) { return 1.5 * std::sin(2 * M_PI * 1.3 * t); }

// The file holds a respiration channel first, then an ECG sine in
// microvolts, so that the reader must pick the ECG by its label; physical
// range +-8192 uV over the 16-bit digital range.
constexpr int kEdfRate = 250, kEdfSeconds = 12;

// An EDF+ file written with libedf.
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
  EXPECT_EQ(r.format, "edf");
  EXPECT_EQ(r.signalName, "ECG II");
  EXPECT_EQ(r.units, "mV");
  EXPECT_DOUBLE_EQ(r.fsHz, kEdfRate);
  ASSERT_EQ(r.samples.size(), static_cast<std::size_t>(kEdfRate * kEdfSeconds));
  EXPECT_NEAR(*r.fullScale, 8.192, 1e-9);
  const double quantum = 16384.0 / 65535.0 / 1000.0;  // one digital step in mV
  for (std::size_t i = 0; i < r.samples.size(); i += 37)
    EXPECT_NEAR(r.samples[i], ecg_mv(static_cast<double>(i) / kEdfRate), quantum) << i;
  ReadOptions resp;
  resp.signal = "Resp";
  EXPECT_NEAR(read_recording(path, resp).samples[100], 0.0, quantum);
}

TEST(CsvReader, AcceptsTheCommonLayouts) {
  const ReadOptions noFs;
  // One column with a header, rate from --fs.
  Recording r = parse_csv("ecg_mv\n0.1\n-0.2\n0.3\n", "a.csv", with_fs(200));
  EXPECT_EQ(r.signalName, "ecg_mv");
  EXPECT_EQ(r.samples, (std::vector<double>{0.1, -0.2, 0.3}));
  // Time and value, comma, CRLF, no header: the rate comes from the times.
  r = parse_csv("0.000,1\r\n0.004,2\r\n0.008,3\r\n0.012,4\r\n", "b.csv", noFs);
  EXPECT_NEAR(r.fsHz, 250.0, 1e-9);
  EXPECT_EQ(r.samples, (std::vector<double>{1, 2, 3, 4}));
  // Semicolon, header, timestamps rounded to the millisecond at 360 Hz.
  std::string text = "time;MLII;V5\n";
  for (int i = 0; i < 360; ++i)
    text += std::to_string(std::round(i / 0.36) / 1000.0) + ";" + std::to_string(i) + ";" + std::to_string(-i) + "\n";
  r = parse_csv(text, "c.csv", noFs);
  EXPECT_NEAR(r.fsHz, 359.0 / (std::round(359 / 0.36) / 1000.0), 1e-9);
  EXPECT_EQ(r.samples[5], 5.0);
  ReadOptions v5;
  v5.signal = "V5";
  EXPECT_EQ(parse_csv(text, "c.csv", v5).samples[5], -5.0);
  v5.signal = "2";
  EXPECT_EQ(parse_csv(text, "c.csv", v5).samples[5], -5.0);
  // Semicolons with decimal commas.
  r = parse_csv("0;1,5\n0,5;-2,25\n", "e.csv", noFs);
  EXPECT_EQ(r.samples, (std::vector<double>{1.5, -2.25}));
  // Tab separated, plus signs and spaces.
  r = parse_csv("t\tecg\n0\t +1.5\n0.5\t-2\n", "d.tsv", noFs);
  EXPECT_DOUBLE_EQ(r.fsHz, 2.0);
  EXPECT_EQ(r.samples, (std::vector<double>{1.5, -2.0}));
}

TEST(RawReader, ReadsLittleEndianFloat64AndInt16) {
  ScratchDir dir;
  const std::vector<double> values = {0.25, -1.5, 3.0};
  std::string bytes(values.size() * 8, '\0');
  std::memcpy(bytes.data(), values.data(), bytes.size());  // the test machine is little-endian
  Recording r = read_recording(write_text(dir / "x.f64", bytes), with_fs(500));
  EXPECT_EQ(r.samples, values);
  EXPECT_EQ(r.fsHz, 500.0);
  const std::string shorts = {'\x01', '\x00', '\xff', '\xff', '\x00', '\x80'};
  r = read_recording(write_text(dir / "x.i16", shorts), with_fs(200));
  EXPECT_EQ(r.samples, (std::vector<double>{1, -1, -32768}));
  EXPECT_EQ(*r.fullScale, 32768.0);
}

}  // namespace
}  // namespace zyn::cli
