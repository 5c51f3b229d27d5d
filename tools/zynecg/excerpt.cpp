// WFDB excerpts. See excerpt.hpp.
#include "excerpt.hpp"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <sstream>

#include "output.hpp"
#include "recording.hpp"
#include "wfdb/resample.hpp"
#include "wfdb/signals.hpp"

namespace zyn::cli {
namespace {

constexpr int kCodeSkip = 59, kCodeNum = 60, kCodeSub = 61, kCodeChn = 62, kCodeAux = 63;
constexpr int64_t kLargestDirectInterval = 1023;

void put_word(std::vector<uint8_t>& out, uint32_t word) {
  out.push_back(static_cast<uint8_t>(word & 0xFF));
  out.push_back(static_cast<uint8_t>((word >> 8) & 0xFF));
}

uint32_t word_of(int code, uint32_t value) { return (static_cast<uint32_t>(code) << 10) | (value & 0x3FF); }

std::string checksum_field(std::span<const int32_t> samples) {
  int32_t sum = 0;
  for (const int32_t s : samples) sum = static_cast<int16_t>(static_cast<uint16_t>(sum + s));
  return std::to_string(sum);
}

}  // namespace

std::vector<uint8_t> encode_format212(std::span<const int32_t> samples) {
  std::vector<uint8_t> out;
  out.reserve(samples.size() * 3 / 2 + 3);
  for (std::size_t i = 0; i < samples.size(); i += 2) {
    const auto a = static_cast<uint32_t>(samples[i]) & 0xFFF;
    const auto b = i + 1 < samples.size() ? static_cast<uint32_t>(samples[i + 1]) & 0xFFF : 0u;
    out.push_back(static_cast<uint8_t>(a & 0xFF));
    out.push_back(static_cast<uint8_t>(((a >> 8) & 0x0F) | ((b >> 4) & 0xF0)));
    if (i + 1 < samples.size()) out.push_back(static_cast<uint8_t>(b & 0xFF));
  }
  return out;
}

std::vector<uint8_t> encode_annotations(std::span<const wfdb::Annotation> annotations) {
  std::vector<uint8_t> out;
  int64_t previous = 0;
  int num = 0, channel = 0;
  for (const wfdb::Annotation& a : annotations) {
    const int64_t interval = a.sample - previous;
    if (interval < 0 || interval > kLargestDirectInterval) {
      // SKIP: a signed 32-bit interval, high word first.
      const auto skip = static_cast<uint32_t>(static_cast<int32_t>(interval));
      put_word(out, word_of(kCodeSkip, 0));
      put_word(out, skip >> 16);
      put_word(out, skip & 0xFFFF);
      put_word(out, word_of(a.code, 0));
    } else {
      put_word(out, word_of(a.code, static_cast<uint32_t>(interval)));
    }
    previous = a.sample;
    if (a.subtype != 0) put_word(out, word_of(kCodeSub, static_cast<uint32_t>(a.subtype)));
    if (a.num != num) put_word(out, word_of(kCodeNum, static_cast<uint32_t>(a.num)));
    if (a.channel != channel) put_word(out, word_of(kCodeChn, static_cast<uint32_t>(a.channel)));
    num = a.num;
    channel = a.channel;
    if (!a.aux.empty()) {
      // WFDB stores the rhythm texts with their terminating NUL.
      std::string text = a.aux;
      text.push_back('\0');
      put_word(out, word_of(kCodeAux, static_cast<uint32_t>(text.size())));
      if (text.size() % 2 != 0) text.push_back('\0');
      out.insert(out.end(), text.begin(), text.end());
    }
  }
  put_word(out, 0);
  return out;
}

int write_excerpt(const ExcerptArgs& args) {
  namespace fs = std::filesystem;
  fs::path p(args.record);
  if (p.extension() == ".hea" || p.extension() == ".dat") p.replace_extension();
  const fs::path directory = p.has_parent_path() ? p.parent_path() : fs::path(".");
  const wfdb::Record record = wfdb::read_record(directory, p.filename().string());
  ReadOptions readOptions;
  readOptions.signal = args.signal;
  const Recording physical = read_wfdb(args.record, readOptions);

  std::size_t index = 0;
  for (std::size_t i = 0; i < record.header.signals.size(); ++i)
    if (record.header.signals[i].description == physical.signalName) index = i;
  const wfdb::SignalSpec& spec = record.header.signals[index];
  if (spec.format != 212) throw InputError(args.record, "only format-212 signals can be excerpted");
  const auto count = static_cast<std::size_t>(std::llround(args.seconds * record.header.samplingFrequency));
  if (count > record.samples[index].size()) throw InputError(args.record, "is shorter than the excerpt");
  const std::span<const int32_t> samples(record.samples[index].data(), count);

  const fs::path out(args.outDir);
  const std::string dat = args.name + ".dat";
  std::ostringstream hea;
  hea << args.name << " 1 " << record.header.samplingFrequency << " " << count << "\r\n";
  hea << dat << " 212 " << spec.gain;
  if (spec.baseline != spec.adcZero) hea << "(" << spec.baseline << ")";
  hea << " " << spec.adcResolution << " " << spec.adcZero << " " << samples.front() << " "
      << checksum_field(samples) << " 0 " << spec.description << "\r\n";
  for (const std::string& c : args.comments) hea << "# " << c << "\r\n";
  write_file_atomically(out / (args.name + ".hea"), hea.str());
  const auto bytes = encode_format212(samples);
  write_file_atomically(out / dat, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));

  const fs::path atr = directory / (p.filename().string() + ".atr");
  if (fs::exists(atr)) {
    std::vector<wfdb::Annotation> kept;
    for (const auto& a : wfdb::read_annotations(atr))
      if (a.sample < static_cast<int64_t>(count)) kept.push_back(a);
    const auto encoded = encode_annotations(kept);
    write_file_atomically(out / (args.name + ".atr"),
                          std::string_view(reinterpret_cast<const char*>(encoded.data()), encoded.size()));
  }

  const std::span<const double> mv(physical.samples.data(), count);
  const std::vector<double> at200 = wfdb::resample(mv, physical.fsHz, wfdb::kAnalysisRateHz);
  std::string csv = "mlii_mv\n";
  if (spec.description != "MLII") csv = std::string(spec.description) + "_mv\n";
  char line[32];
  for (const double v : at200) {
    std::snprintf(line, sizeof line, "%.6f\n", v);
    csv += line;
  }
  write_file_atomically(out / (args.name + "-200hz.csv"), csv);
  std::cout << "wrote " << (out / args.name).string() << ".hea/.dat/.atr (" << count << " samples at "
            << record.header.samplingFrequency << " Hz) and " << args.name << "-200hz.csv (" << at200.size()
            << " samples at 200 Hz)\n";
  return 0;
}

}  // namespace zyn::cli
