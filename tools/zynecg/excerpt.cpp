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
    const auto encoded = wfdb::encode_annotations(kept);
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
