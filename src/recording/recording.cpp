// Readers of ECG files. See recording.hpp.
#include "recording.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <sstream>

#include "wfdb/error.hpp"
#include "wfdb/resample.hpp"
#include "wfdb/signals.hpp"

namespace zyn::recording {
namespace fs = std::filesystem;

std::string lower(std::string_view s) {
  std::string out(s);
  std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

std::string_view trim(std::string_view s) {
  while (!s.empty() && (s.front() == ' ' || s.front() == '\t' || s.front() == '\r' || s.front() == '"')) s.remove_prefix(1);
  while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r' || s.back() == '"')) s.remove_suffix(1);
  return s;
}

std::optional<std::size_t> parse_index(std::string_view s) {
  std::size_t value = 0;
  const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), value);
  if (ec != std::errc() || end != s.data() + s.size() || s.empty()) return std::nullopt;
  return value;
}

namespace {

// Samples that are not numbers are kept: the analysis leaves their stretches
// out and reports them; infinite samples count as saturated.
void check_samples(Recording& r) {
  r.sampleCount = static_cast<int64_t>(r.samples.size());
  check_rate_and_length(r);
}

// "YYYY-MM-DDTHH:MM:SS" from the header's base date and time ("HH:MM:SS"
// alone without a date); empty when the header gives no base time.
std::string wfdb_start_time(const wfdb::Header& h) {
  int hour = 0, minute = 0, day = 0, month = 0, year = 0;
  double second = 0.0;
  if (std::sscanf(h.baseTime.c_str(), "%d:%d:%lf", &hour, &minute, &second) != 3) return "";
  char text[40];
  if (std::sscanf(h.baseDate.c_str(), "%d/%d/%d", &day, &month, &year) == 3) {
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", year, month, day, hour, minute,
                  static_cast<int>(second));
  } else {
    std::snprintf(text, sizeof text, "%02d:%02d:%02d", hour, minute, static_cast<int>(second));
  }
  return text;
}

InputFormat detect_format(const std::string& path) {
  const std::string ext = lower(fs::path(path).extension().string());
  if (ext == ".hea" || ext == ".dat") return InputFormat::Wfdb;
  if (ext == ".edf" || ext == ".bdf" || ext == ".rec") return InputFormat::Edf;
  if (ext == ".csv" || ext == ".txt" || ext == ".tsv") return InputFormat::Csv;
  if (ext == ".raw" || ext == ".bin" || ext == ".f64" || ext == ".i16") return InputFormat::Raw;
  std::error_code ec;
  if (!fs::exists(path, ec) && fs::exists(path + ".hea", ec)) return InputFormat::Wfdb;
  throw InputError(path, "unknown file type '" + ext + "': give --format csv|wfdb|edf|raw");
}

}  // namespace

InputFormat parse_format(std::string_view name) {
  if (name == "auto") return InputFormat::Auto;
  if (name == "csv") return InputFormat::Csv;
  if (name == "wfdb") return InputFormat::Wfdb;
  if (name == "edf") return InputFormat::Edf;
  if (name == "raw") return InputFormat::Raw;
  throw std::invalid_argument("unknown format " + std::string(name));
}

std::string_view format_name(InputFormat format) {
  switch (format) {
    case InputFormat::Csv: return "csv";
    case InputFormat::Wfdb: return "wfdb";
    case InputFormat::Edf: return "edf";
    case InputFormat::Raw: return "raw";
    case InputFormat::Auto: break;
  }
  return "auto";
}

RecordingInfo read_wfdb_chunks(const std::string& path, const ReadOptions& options, SampleSink& sink) {
  fs::path p(path);
  const std::string ext = lower(p.extension().string());
  if (ext == ".hea" || ext == ".dat") p.replace_extension();
  const fs::path directory = p.has_parent_path() ? p.parent_path() : fs::path(".");
  const std::string name = p.filename().string();
  std::error_code ec;
  if (!fs::exists(directory / (name + ".hea"), ec)) throw InputError(path, "no such record (missing " + name + ".hea)");
  try {
    wfdb::Header header = wfdb::read_header(directory / (name + ".hea"));
    if (header.signals.empty()) throw InputError(path, "the header lists no signals");
    std::size_t index = 0;
    if (!options.signal.empty()) {
      if (const auto byName = wfdb::find_signal(header, options.signal)) {
        index = *byName;
      } else if (const auto byIndex = parse_index(options.signal); byIndex && *byIndex < header.signals.size()) {
        index = *byIndex;
      } else {
        throw InputError(path, "no signal '" + options.signal + "' in the record");
      }
    }
    const auto& spec = header.signals[index];
    RecordingInfo r;
    r.source = path;
    r.format = "wfdb";
    r.signalName = spec.description.empty() ? "signal " + std::to_string(index) : spec.description;
    r.units = spec.units;
    r.fsHz = options.fsHz.value_or(header.samplingFrequency);
    r.fullScale = wfdb::full_scale(spec);
    r.startTime = wfdb_start_time(header);
    wfdb::stream_physical_signal(
        header, directory, index, kReadChunkSamples,
        [&] {
          r.sampleCount = static_cast<int64_t>(header.numSamples);
          check_rate_and_length(r);
          sink.begin(r);
        },
        [&](std::span<const double> chunk) { sink.append(chunk); });
    return r;
  } catch (const wfdb::Error& e) {
    throw InputError(std::string(e.what()));  // names the header or signal file
  }
}

Recording read_wfdb(const std::string& path, const ReadOptions& options) {
  return collect_samples([&](SampleSink& sink) { return read_wfdb_chunks(path, options, sink); });
}

RecordingInfo read_recording_chunks(const std::string& path, const ReadOptions& options, SampleSink& sink) {
  if (options.fsHz && !(*options.fsHz > 0.0)) throw InputError(path, "sampling rate must be positive (--fs)");
  const InputFormat format = options.format == InputFormat::Auto ? detect_format(path) : options.format;
  if (format == InputFormat::Edf) return read_edf_chunks(path, options, sink);
  if (format == InputFormat::Raw) return read_raw_chunks(path, options, sink);
  if (format == InputFormat::Wfdb) return read_wfdb_chunks(path, options, sink);
  Recording r = read_csv(path, options);
  check_samples(r);
  sink.begin(r);
  const std::span<const double> all(r.samples);
  for (std::size_t at = 0; at < all.size(); at += kReadChunkSamples)
    sink.append(all.subspan(at, std::min(kReadChunkSamples, all.size() - at)));
  return r;
}

Recording collect_samples(const std::function<RecordingInfo(SampleSink&)>& read) {
  CollectingSink collected;
  Recording r;
  static_cast<RecordingInfo&>(r) = read(collected);
  r.samples = std::move(collected.samples);
  return r;
}

Recording read_recording(const std::string& path, const ReadOptions& options) {
  return collect_samples([&](SampleSink& sink) { return read_recording_chunks(path, options, sink); });
}

std::vector<double> at_analysis_rate(const Recording& recording) {
  RecordingInfo info = recording;
  info.sampleCount = static_cast<int64_t>(recording.samples.size());
  check_rate_and_length(info);
  try {
    return wfdb::resample(recording.samples, recording.fsHz, wfdb::kAnalysisRateHz);
  } catch (const wfdb::Error& e) {
    throw InputError(recording.source, e.what());
  }
}

}  // namespace zyn::recording
