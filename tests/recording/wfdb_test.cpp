// Readers of WFDB records: headers, formats 212 and 16, MIT annotations,
// resampling to 200 Hz, and the real MIT-BIH files when they are present.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>
#include <numbers>
#include <string>
#include <tuple>

#include "../common/scratch.hpp"
#include "wfdb/annotations.hpp"
#include "wfdb/error.hpp"
#include "wfdb/header.hpp"
#include "wfdb/resample.hpp"
#include "wfdb/signals.hpp"

using namespace zyn::wfdb;
using namespace zyn::testing;

namespace {

const char* const kRecord100Header =
    "100 2 360 650000\r\n"
    "100.dat 212 200 11 1024 995 -22131 0 MLII\r\n"
    "100.dat 212 200 11 1024 1011 20052 0 V5\r\n"
    "# 69 M 1085 1629 x1\r\n"
    "# Aldomet, Inderal\r\n";

#define EXPECT_ERROR(call, text) \
  EXPECT_NE(error_of<Error>([&] { (void)(call); }).find(text), std::string::npos) << (text)

std::string bytes_of(const std::vector<uint8_t>& v) { return {v.begin(), v.end()}; }

// Packs values in format 212 the way the writer does (pairs into 3 bytes).
std::vector<uint8_t> pack_212(const std::vector<int>& values) {
  std::vector<uint8_t> out;
  for (std::size_t k = 0; k < values.size(); k += 2) {
    const unsigned a = static_cast<unsigned>(values[k]) & 0xFFF;
    const unsigned b = k + 1 < values.size() ? static_cast<unsigned>(values[k + 1]) & 0xFFF : 0;
    out.push_back(static_cast<uint8_t>(a & 0xFF));
    out.push_back(static_cast<uint8_t>(((a >> 8) & 0x0F) | ((b >> 4) & 0xF0)));
    if (k + 1 < values.size()) out.push_back(static_cast<uint8_t>(b & 0xFF));
  }
  return out;
}

// Format 16: little-endian two's complement, as this (little-endian) machine stores int16_t.
std::vector<uint8_t> pack_16(const std::vector<int>& values) {
  const std::vector<int16_t> narrow(values.begin(), values.end());
  const auto* bytes = reinterpret_cast<const uint8_t*>(narrow.data());
  return {bytes, bytes + 2 * narrow.size()};
}

// The header's checksum: the 16-bit sum of the samples.
int checksum_of(const std::vector<int>& values) {
  return static_cast<int16_t>(static_cast<uint16_t>(std::accumulate(values.begin(), values.end(), 0u)));
}

void put_word(std::vector<uint8_t>& out, int code, int value) {
  const auto w = static_cast<uint16_t>((code << 10) | (value & 0x3FF));
  out.push_back(static_cast<uint8_t>(w & 0xFF));
  out.push_back(static_cast<uint8_t>(w >> 8));
}

// One signal read through stream_physical_signal, at most framesPerChunk
// samples a chunk; begin must come once, before the first chunk.
std::vector<double> streamed(const fs::path& dir, const std::string& name, std::size_t signal,
                             std::size_t framesPerChunk) {
  Header header = read_header(dir / (name + ".hea"));
  std::vector<double> out;
  int begins = 0;
  stream_physical_signal(
      header, dir, signal, framesPerChunk, [&] { EXPECT_EQ(begins++, 0) << "begin twice"; },
      [&](std::span<const double> chunk) {
        EXPECT_EQ(begins, 1);
        EXPECT_LE(chunk.size(), std::max<std::size_t>(framesPerChunk, 2));
        out.insert(out.end(), chunk.begin(), chunk.end());
      });
  return out;
}

}  // namespace

TEST(WfdbHeader, ParsesRecordAndSignalLinesWithCrlf) {
  const Header h = parse_header(kRecord100Header, "100.hea");
  EXPECT_EQ(std::tuple(h.recordName, h.samplingFrequency, h.numSamples), std::tuple("100", 360.0, 650000));
  ASSERT_EQ(h.signals.size(), 2u);
  const SignalSpec& s = h.signals[0];
  EXPECT_TRUE(s.calibrated);
  // No baseline given: the ADC zero.
  EXPECT_EQ(std::tuple(s.format, s.baseline, s.adcResolution, s.initialValue, s.checksum.value_or(0), s.description),
            std::tuple(212, 1024, 11, 995, -22131, "MLII"));
  ASSERT_EQ(h.comments.size(), 2u);
  EXPECT_EQ(h.comments[1], "Aldomet, Inderal");
  EXPECT_EQ(find_signal(h, "V5"), 1u);
  EXPECT_FALSE(find_signal(h, "V1").has_value());
  EXPECT_DOUBLE_EQ(full_scale(s), 5.12);
  EXPECT_DOUBLE_EQ(to_physical(1224, s), 1.0);
}

TEST(WfdbHeader, ParsesOptionalFieldForms) {
  const Header h = parse_header(
      "# leading comment\n"
      "sel 3 250/360 225000\n"
      "a.dat 16+24 100(-5)/uV 16 0 7 12 0 lead with spaces \n"
      "b.dat 212 0 12 0\n"
      "c.dat 212\n",
      "sel.hea");
  EXPECT_EQ(std::tuple(h.samplingFrequency, h.counterFrequency), std::tuple(250.0, 360.0));
  const SignalSpec& a = h.signals[0];
  EXPECT_EQ(std::tuple(a.format, a.byteOffset, a.gain, a.baseline, a.units, a.description),
            std::tuple(16, 24, 100.0, -5, "uV", "lead with spaces"));
  // Gain 0 and a missing gain both mean uncalibrated, read at 200 units per mV.
  EXPECT_FALSE(h.signals[1].calibrated);
  EXPECT_EQ(h.signals[1].gain, 200.0);
  EXPECT_FALSE(h.signals[2].calibrated);
  EXPECT_FALSE(h.signals[2].checksum.has_value());
  EXPECT_EQ(effective_adc_resolution(h.signals[2]), 12);
  // Range -2048..2047 around baseline 0 of a 12-bit signal at 200 units per mV.
  EXPECT_DOUBLE_EQ(full_scale(h.signals[1]), 10.24);
}

TEST(WfdbHeader, RejectsInconsistentHeadersNamingFileAndLine) {
  const std::pair<const char*, const char*> cases[] = {
      {"r 2 360 10\nr.dat 212 200 11 0 0 0 0 I\n", "announces 2 signals but 1"},
      {"r 1 360 10\nr.dat 212\nr.dat 212\n", "r.hea: line 3: more signal lines"},
      {"r 1 36O 10\nr.dat 212\n", "bad sampling frequency '36O'"},
      {"r 1 360 10\nr.dat 212 200(0 11\n", "unbalanced baseline"},
      {"r/3 1 360 10\n", "multi-segment"},
      {"r 1 0 10\nr.dat 212\n", "positive"},
      {"# only a comment\r\n\r\n", "r.hea: no record line"},
  };
  for (const auto& [text, problem] : cases) EXPECT_ERROR(parse_header(text, "r.hea"), problem);
}

TEST(WfdbFormats, Decodes212PairsWithOddTailAnd16LittleEndian) {
  const std::vector<int> values = {0, 1, -1, 2047, -2048, 1024, -7};
  const std::vector<uint8_t> bytes = pack_212(values);
  EXPECT_EQ(bytes.size(), bytes_for_212(values.size()));
  EXPECT_EQ(decode_format212(bytes, values.size()), values);
  // Byte layout: low 8 bits of the first sample, the two high nibbles, low 8 bits of the second.
  EXPECT_EQ(decode_format212(std::vector<uint8_t>{0xE3, 0x1F, 0x02}, 2), (std::vector<int32_t>{-29, 258}));
  const std::vector<uint8_t> raw16 = {0x01, 0x00, 0xFF, 0xFF, 0x00, 0x80, 0xFF, 0x7F};
  EXPECT_EQ(decode_format16(raw16, 4), (std::vector<int32_t>{1, -1, -32768, 32767}));
}

TEST(WfdbRecord, ReadsInterleavedSignalsOfBothFormatsAndChecksThem) {
  ScratchDir dir;
  const std::vector<int> ch0 = {10, -20, 30, 2000, -2000};
  const std::vector<int> ch1 = {-1, 5, 1023, -1024, 0};
  std::vector<int> interleaved;
  for (std::size_t t = 0; t < ch0.size(); ++t) interleaved.insert(interleaved.end(), {ch0[t], ch1[t]});
  const std::vector<int> wide = {30000, -30000, 7, 8, 9};
  write_text(dir / "r.dat", bytes_of(pack_212(interleaved)));
  write_text(dir / "w.dat", bytes_of(pack_16(wide)));
  write_text(dir / "r.hea", "r 3 360 5\r\n"
                            "r.dat 212 200 11 0 10 " + std::to_string(checksum_of(ch0)) + " 0 MLII\r\n"
                            "r.dat 212 200 11 0 -1 " + std::to_string(checksum_of(ch1)) + " 0 V1\r\n"
                            "w.dat 16 400(8) 16 0 30000 " + std::to_string(checksum_of(wide)) + " 0 X\r\n");
  const Record rec = read_record(dir.path(), "r");
  EXPECT_EQ(rec.samples, (std::vector<std::vector<int32_t>>{ch0, ch1, wide}));
  EXPECT_DOUBLE_EQ(physical_signal(rec, 2)[3], 0.0);

  // A wrong checksum is an inconsistency between header and data.
  write_text(dir / "r.hea", "r 1 360 5\nw.dat 16 200 16 0 30000 1 0 X\n");
  EXPECT_ERROR(read_record(dir.path(), "r"), "checksum of signal 0 (X)");
  EXPECT_NO_THROW(read_record(dir.path(), "r", ReadOptions{.verifyChecksums = false}));

  // Without a sample count, the file size decides it.
  write_text(dir / "r.hea", "r 1 360\nw.dat 16\n");
  EXPECT_EQ(read_record(dir.path(), "r").header.numSamples, 5);
}

TEST(WfdbRecord, ReportsMissingAndTruncatedFiles) {
  ScratchDir dir;
  EXPECT_ERROR(read_record(dir.path(), "none"), "none.hea: cannot open file");
  const char* const twoSignals = "r 2 360 650000\nr.dat 212 200 11 1024\nr.dat 212 200 11 1024\n";
  write_text(dir / "r.hea", twoSignals);
  EXPECT_ERROR(read_record(dir.path(), "r"), "r.dat: cannot open file");
  write_text(dir / "r.dat", std::string(1000, '\0'));
  // Found by fuzzing: 2^62 samples of two signals wrapped the byte count to
  // zero and the reader tried to decode 2^63 values.
  const std::pair<const char*, const char*> cases[] = {
      {twoSignals, "need 1950000 bytes, file has 1000"},
      {"r 2 360 4611686018427387904\nr.dat 16 200\nr.dat 16 200\n", "need more than 2^63 bytes"},
      {"r 3 360 3074457345618258603\nr.dat 212 200\nr.dat 212 200\nr.dat 212 200\n", "r.dat: truncated"},
      {"r 1 360 5\nr.dat 310\n", "format 310"},
  };
  for (const auto& [header, problem] : cases) {
    write_text(dir / "r.hea", header);
    EXPECT_ERROR(read_record(dir.path(), "r"), problem);
  }
}

// Chunk boundaries inside a 3-byte pair of format 212 (odd signal and
// sample counts) and in format 16 must give physical_signal's values exactly.
TEST(WfdbRecord, StreamedSignalEqualsTheWholeFileReadAtEveryChunkSize) {
  ScratchDir dir;
  std::vector<int> interleaved;
  for (int t = 0; t < 7; ++t) interleaved.insert(interleaved.end(), {t * 300 - 1000, 2047 - t * 601, -t * 7});
  write_text(dir / "r.dat", bytes_of(pack_212(interleaved)));
  write_text(dir / "r.hea", "r 3 360 7\nr.dat 212 200 11 24\nr.dat 212 33.3 11 -5\nr.dat 212 0 11 0\n");
  const std::vector<int> wide = {30000, -30000, 7, 8, 9, -1};
  write_text(dir / "w.dat", bytes_of(pack_16(wide)));
  write_text(dir / "w.hea", "w 2 250 3\nw.dat 16 400(8) 16 0\nw.dat 16 0.7 16 -3\n");
  for (const std::size_t frames : {1u, 2u, 3u, 4u, 5u, 100u}) {
    const Record r = read_record(dir.path(), "r");
    for (std::size_t s = 0; s < 3; ++s) EXPECT_EQ(streamed(dir.path(), "r", s, frames), physical_signal(r, s));
    const Record w = read_record(dir.path(), "w");
    for (std::size_t s = 0; s < 2; ++s) EXPECT_EQ(streamed(dir.path(), "w", s, frames), physical_signal(w, s));
  }

  // The same checks as the whole read: checksum after the last chunk, size before the first.
  write_text(dir / "w.hea", "w 2 250 3\nw.dat 16 200 16 0 30000 1\nw.dat 16\n");
  EXPECT_ERROR(streamed(dir.path(), "w", 1, 2), "checksum of signal 0");
  write_text(dir / "w.hea", "w 2 250 4\nw.dat 16\nw.dat 16\n");
  EXPECT_ERROR(streamed(dir.path(), "w", 0, 2), "need 16 bytes, file has 12");
}

TEST(WfdbAnnotations, DecodesAllWordKinds) {
  std::vector<uint8_t> b;
  put_word(b, 1, 100);                 // N at 100
  put_word(b, 61, -3);                 // its subtype
  put_word(b, 59, 0);                  // SKIP 70000 samples (high word first)
  b.insert(b.end(), {0x01, 0x00, 0x70, 0x11});
  put_word(b, 28, 5);                  // rhythm at 100 + 70000 + 5
  put_word(b, 63, 5);                  // AUX "(AFIB" padded to 6 bytes
  for (char c : std::string("(AFIB\0", 6)) b.push_back(static_cast<uint8_t>(c));
  put_word(b, 62, 1);                  // channel 1, carried over
  put_word(b, 60, 7);                  // num 7, carried over
  put_word(b, 5, 0);                   // V at the same time
  put_word(b, 0, 3);                   // a code-0 (not-QRS) annotation
  put_word(b, 0, 0);
  const std::vector<Annotation> a = parse_annotations(b, "t.atr");
  ASSERT_EQ(a.size(), 4u);
  EXPECT_EQ(std::tuple(a[0].sample, a[0].subtype), std::tuple(100, -3));
  EXPECT_EQ(std::tuple(a[1].sample, annotation_symbol(a[1].code), a[1].aux), std::tuple(70105, "+", "(AFIB"));
  EXPECT_EQ(std::tuple(a[2].sample, a[2].channel, a[2].num, a[2].subtype), std::tuple(70105, 1, 7, 0));
  EXPECT_EQ(a[3].code, 0);
  EXPECT_EQ(std::tuple(is_beat(a[1].code), is_beat(a[2].code), is_beat(a[3].code)), std::tuple(false, true, false));
}

TEST(WfdbAnnotations, RejectsTruncatedAndMalformedFiles) {
  std::vector<uint8_t> b, aux, orphan;
  put_word(b, 1, 10);
  EXPECT_ERROR(parse_annotations(b, "t.atr"), "t.atr: no end-of-file marker");
  b.push_back(0x05);  // half a word
  EXPECT_ERROR(parse_annotations(b, "t.atr"), "inside annotation word");
  put_word(aux, 1, 10);
  put_word(aux, 63, 8);
  aux.insert(aux.end(), {'a', 'b'});
  EXPECT_ERROR(parse_annotations(aux, "t.atr"), "auxiliary text");
  put_word(orphan, 61, 1);
  EXPECT_ERROR(parse_annotations(orphan, "t.atr"), "before any annotation");
}

TEST(WfdbResample, KeepsTimeAlignmentAndShapeAt200Hz) {
  // A 1.5 Hz sine plus a narrow Gaussian peak at exactly 4 s, sampled at 360 Hz.
  const double fromHz = 360.0;
  std::vector<double> x(static_cast<std::size_t>(10 * fromHz));
  const auto value = [](double t) {
    return std::sin(2.0 * std::numbers::pi * 1.5 * t) +
           2.0 * std::exp(-0.5 * std::pow((t - 4.0) / 0.02, 2.0));
  };
  for (std::size_t i = 0; i < x.size(); ++i) x[i] = value(static_cast<double>(i) / fromHz);
  const std::vector<double> y = resample(x, fromHz, 200.0);
  ASSERT_EQ(y.size(), 2000u);
  double worst = 0.0;
  for (std::size_t k = 200; k < 1800; ++k)
    worst = std::max(worst, std::abs(y[k] - value(static_cast<double>(k) / 200.0)));
  EXPECT_LT(worst, 2e-3);
  EXPECT_EQ(std::max_element(y.begin(), y.end()) - y.begin(), 800);
  EXPECT_EQ(resample(x, 200.0, 200.0), x);
  EXPECT_TRUE(resample({}, 360.0, 200.0).empty());
  EXPECT_THROW(resample(x, 0.0, 200.0), Error);
}

// Known sines through the very high quality converter: in the pass band the
// output is the sine at the new rate to within a millionth of its amplitude,
// and a stream fed in uneven chunks gives the whole-signal result exactly.
TEST(WfdbResample, SinesPassWithinAMillionthAndChunksChangeNothing) {
  for (const double fromHz : {250.0, 360.0, 500.0, 128.0, 1000.0}) {
    SCOPED_TRACE(fromHz);
    const auto sine = [](double t) { return std::sin(2.0 * std::numbers::pi * 17.0 * t + 0.3); };
    std::vector<double> x(static_cast<std::size_t>(20 * fromHz));
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = sine(static_cast<double>(i) / fromHz);
    const std::vector<double> y = resample(x, fromHz, 200.0);
    ASSERT_EQ(y.size(), 4000u);
    double worst = 0.0;
    for (std::size_t k = 400; k < 3600; ++k) worst = std::max(worst, std::abs(y[k] - sine(static_cast<double>(k) / 200.0)));
    EXPECT_LT(worst, 1e-6);
    Resampler stream(fromHz, 200.0);
    std::vector<double> chunked;
    for (std::size_t at = 0, step = 1; at < x.size(); at += step, step = step * 3 % 997 + 1)
      stream.push(std::span<const double>(x).subspan(at, std::min(step, x.size() - at)), chunked);
    stream.finish(chunked);
    EXPECT_EQ(chunked, y);
  }
}

// Record 100 as read by the annotation reader, resampled to 200 Hz, and the
// beat total of all 48 arrhythmia records. (Its samples are checked through
// the command-line tool's reader.)
TEST(WfdbRealData, MitdbRecordsHoldTheKnownBeatCounts) {
  ZYN_REQUIRE_MITDB();
  const Record rec = read_record(data_dir() / "mitdb", "100");  // checksums verified
  for (std::size_t s = 0; s < 2; ++s) EXPECT_EQ(streamed(data_dir() / "mitdb", "100", s, 65535), physical_signal(rec, s));
  EXPECT_EQ(analysis_signal(rec, 0).size(), 361111u);
  const std::vector<Annotation> ann = read_annotations(data_dir() / "mitdb" / "100.atr");
  std::map<std::string_view, int> beats;
  for (const Annotation& a : ann)
    if (is_beat(a.code)) ++beats[annotation_symbol(a.code)];
  EXPECT_EQ(beats["N"] + beats["A"] + beats["V"], 2273);
  EXPECT_EQ(std::pair(beats["A"], beats["V"]), std::pair(33, 1));
  ASSERT_FALSE(ann.empty());
  EXPECT_EQ(annotation_symbol(ann.front().code), "+");
  EXPECT_EQ(ann.front().aux, "(N");

  if (!fs::exists(data_dir() / "mitdb" / "234.atr")) GTEST_SKIP() << "not all MIT-BIH records are present";
  std::size_t records = 0, total = 0;
  for (const fs::directory_entry& e : fs::directory_iterator(data_dir() / "mitdb")) {
    if (e.path().extension() != ".atr") continue;
    ++records;
    for (const Annotation& a : read_annotations(e.path())) total += is_beat(a.code) ? 1 : 0;
  }
  EXPECT_EQ(records, 48u);
  EXPECT_EQ(total, 109494u);
}
