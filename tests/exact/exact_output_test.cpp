// Exact results of the beat detector, the beat classifier and the HRV
// analysis, compared bit for bit with the expected files in
// tests/exact/expected: the bundled 10-minute excerpt of record 100, the first
// ten minutes of a handful of MIT-BIH records (MLII, resampled from 360 Hz to
// 200 Hz as the command-line tool does) and synthetic recordings, among them
// rates other than 200 Hz, stretches shorter and longer than a minute, a
// clipped recording, a flat line and samples that are NaN or negative zero.
//
// Every double is written as hexadecimal floating point (%a), so that a
// single changed bit shows. The files hold results only, never samples.
// To write them anew from the current code (only when a change of results is
// intended): ZYN_WRITE_EXACT_OUTPUT=1 test_exact.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "analysis/pipelines.hpp"
#include "beats/detect_waves.hpp"
#include "beats/rpeak_classifier.hpp"
#include "common/synthetic_ecg.hpp"
#if defined(ZYN_HAVE_WFDB)
#include "wfdb/resample.hpp"
#include "wfdb/signals.hpp"
#endif

namespace {

namespace fs = std::filesystem;

struct Recording {
  std::vector<double> samples;
  int32_t fs = 200;
  double fullScale = 5.12;  // mV: an 11-bit recorder at 200 ADC units per mV
};

constexpr double kTenMinutesSeconds = 600.0;

fs::path expected_dir() { return fs::path(ZYN_SOURCE_DIR) / "tests" / "exact" / "expected"; }

// ---- the recordings -------------------------------------------------------

std::optional<Recording> bundled_excerpt() {
  std::ifstream in(fs::path(ZYN_SOURCE_DIR) / "data" / "mitdb-100-excerpt-200hz.csv");
  if (!in) return std::nullopt;
  Recording r;
  std::string line;
  std::getline(in, line);  // header
  while (std::getline(in, line)) r.samples.push_back(std::strtod(line.c_str(), nullptr));
  return r;
}

std::optional<Recording> mitdb_first_ten_minutes(const std::string& name) {
#if defined(ZYN_HAVE_WFDB)
  const fs::path dir = fs::path(ZYN_DATA_DIR) / "mitdb";
  if (!fs::exists(dir / (name + ".hea"))) return std::nullopt;
  const zyn::wfdb::Record record = zyn::wfdb::read_record(dir, name);
  std::vector<double> mv = zyn::wfdb::physical_signal(record, 0);
  const double rate = record.header.samplingFrequency;
  mv.resize(std::min(mv.size(), static_cast<std::size_t>(kTenMinutesSeconds * rate)));
  Recording r;
  r.samples = zyn::wfdb::resample(mv, rate, zyn::wfdb::kAnalysisRateHz);
  r.fullScale = zyn::wfdb::full_scale(record.header.signals[0]);
  return r;
#else
  (void)name;
  return std::nullopt;
#endif
}

Recording synthetic(double seconds, int32_t fs, double bpm, uint32_t seed) {
  Recording r;
  r.fs = fs;
  r.samples = zyn::testing::synthetic_ecg(static_cast<std::size_t>(seconds * fs), fs, bpm, seed);
  return r;
}

// A recording whose peaks are clipped at 0.9 mV by a recorder of that range.
Recording clipped() {
  Recording r = synthetic(kTenMinutesSeconds, 200, 66, 7);
  for (double& x : r.samples) x = std::clamp(x, -0.9, 0.9);
  r.fullScale = 0.9;
  return r;
}

// Negative zeros in the first minute and one NaN sample after two minutes.
Recording with_odd_samples() {
  Recording r = synthetic(180.0, 200, 80, 11);
  for (std::size_t i = 1000; i < 1400; i += 3) r.samples[i] = -0.0;
  r.samples[24000] = std::numeric_limits<double>::quiet_NaN();
  return r;
}

Recording flat_line() {
  Recording r;
  r.samples.assign(6000, 0.0);
  return r;
}

struct Case {
  std::string name;
  std::function<std::optional<Recording>()> make;
};

std::vector<Case> cases() {
  std::vector<Case> all{{"bundled-mitdb-100-excerpt", bundled_excerpt}};
  for (const char* record : {"100", "105", "119", "203", "208", "233"}) {
    all.push_back({std::string("mitdb-") + record + "-first-10-min",
                   [record] { return mitdb_first_ten_minutes(record); }});
  }
  all.push_back({"synthetic-72bpm-10min", [] { return synthetic(kTenMinutesSeconds, 200, 72, 1); }});
  all.push_back({"synthetic-150bpm-10min", [] { return synthetic(kTenMinutesSeconds, 200, 150, 2); }});
  all.push_back({"synthetic-45bpm-50s", [] { return synthetic(50.0, 200, 45, 3); }});
  all.push_back({"synthetic-90bpm-90s-360hz", [] { return synthetic(90.0, 360, 90, 4); }});
  all.push_back({"synthetic-60bpm-5min-250hz", [] { return synthetic(300.0, 250, 60, 5); }});
  all.push_back({"synthetic-clipped-10min", clipped});
  all.push_back({"synthetic-nan-and-negative-zero-3min", with_odd_samples});
  all.push_back({"flat-line-30s", flat_line});
  return all;
}

// ---- the results as text --------------------------------------------------

std::string hex(double v) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%a", v);
  return buffer;
}

// Positions and labels: whole numbers as integers (exactly: they are below
// 2^53), anything else (negative zero, fractions, NaN, infinities) in hex.
std::string position(double v) {
  const bool whole = std::isfinite(v) && v == std::trunc(v) && std::fabs(v) < 0x1p53 && !std::signbit(v);
  return whole ? std::to_string(static_cast<int64_t>(v)) : hex(v);
}

template <class Values, class Format>
void line(std::ostringstream& out, const char* name, const Values& values, Format format) {
  out << name;
  for (const auto& v : values) out << ' ' << format(v);
  out << '\n';
}

// Index arrays without their -1 padding, whose length is printed instead.
std::vector<int32_t> unpadded(const std::vector<int32_t>& v) {
  auto end = v.end();
  while (end != v.begin() && *(end - 1) == -1) --end;
  return {v.begin(), end};
}

std::string results(const Recording& r) {
  std::ostringstream out;
  const auto integer = [](auto v) { return std::to_string(v); };

  std::vector<double> copy = r.samples;
  const zyn::beats::ClassifiedBeats beats = zyn::beats::analyze_ecg_r(copy, r.fs);
  line(out, "classifier.rpeaks", beats.rpeaks, position);
  line(out, "classifier.classes", beats.beatClass, position);

  const zyn::WaveDetection waves = zyn::detect_waves(r.samples, r.fs, 10, r.fullScale);
  line(out, "detection.normal", waves.normalPeaks, integer);
  line(out, "detection.extra", waves.extraPeaks, integer);
  line(out, "detection.windows", waves.windowQuality, integer);
  out << "detection.overall " << waves.overallQuality << "\ndetection.short_rr " << waves.shortRrFlag << '\n';

  // The HRV analysis of the whole recording: its beats are the detection's
  // (shifted to 0-based indices), so only its own fields are written.
  zyn::AnalysisRequest request;
  request.ecg = std::span<const double>(r.samples);
  request.fs = r.fs;
  request.fullScale = r.fullScale;
  const zyn::HrvAnalysis hrv = zyn::analyse_hrv(request);
  out << "hrv.error " << hrv.error << "\nhrv.hr " << hex(hrv.hr) << "\nhrv.hr_mean " << hex(hrv.hrMean)
      << "\nhrv.beat_array_length " << hrv.beatArrayLength << '\n';
  line(out, "hrv.qualities", hrv.qualities, integer);
  line(out, "hrv.time_domain", hrv.timeDomain, hex);
  line(out, "hrv.frequency_domain", hrv.frequencyDomain, hex);

  // The QRS analysis of the longest leading stretch it accepts, with its
  // beats as the caller receives them.
  request.ecg = std::span<const double>(r.samples).first(
      std::min(r.samples.size(), static_cast<std::size_t>(zyn::kQrsMaxSamples)));
  const zyn::QrsAnalysis qrs = zyn::analyse_qrs(request);
  out << "qrs.error " << qrs.error << "\nqrs.hr " << hex(qrs.hr) << "\nqrs.hr_mean " << hex(qrs.hrMean)
      << "\nqrs.beat_array_length " << qrs.beatArrayLength << '\n';
  line(out, "qrs.rpeaks", unpadded(qrs.rpeaks), integer);
  line(out, "qrs.extra_systoles", unpadded(qrs.extraSystoles), integer);
  line(out, "qrs.qualities", qrs.qualities, integer);
  return out.str();
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string l; std::getline(in, l);) lines.push_back(l);
  return lines;
}

class ExactOutput : public ::testing::TestWithParam<Case> {};

TEST_P(ExactOutput, MatchesTheExpectedFileBitForBit) {
  const std::optional<Recording> recording = GetParam().make();
  if (!recording) GTEST_SKIP() << "recording not available (" << ZYN_DATA_DIR << ")";
  const std::string actual = results(*recording);
  const fs::path file = expected_dir() / (GetParam().name + ".txt");
  if (std::getenv("ZYN_WRITE_EXACT_OUTPUT") != nullptr) {
    std::ofstream(file, std::ios::binary) << actual;
    GTEST_SKIP() << "wrote " << file;
  }
  std::ifstream in(file, std::ios::binary);
  ASSERT_TRUE(in) << "missing " << file;
  const std::string expected((std::istreambuf_iterator<char>(in)), {});
  const auto want = lines_of(expected), got = lines_of(actual);
  ASSERT_EQ(got.size(), want.size()) << file;
  for (std::size_t i = 0; i < want.size(); ++i) {
    // Only the field's name when the values differ: the lines are long.
    EXPECT_TRUE(got[i] == want[i]) << file << ": " << want[i].substr(0, want[i].find(' ')) << " differs";
  }
}

INSTANTIATE_TEST_SUITE_P(Recordings, ExactOutput, ::testing::ValuesIn(cases()),
                         [](const ::testing::TestParamInfo<Case>& param) {
                           std::string name = param.param.name;
                           std::replace(name.begin(), name.end(), '-', '_');
                           return name;
                         });

}  // namespace
