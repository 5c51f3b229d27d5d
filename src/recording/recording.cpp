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

// Timestamps may be rounded; each must lie within half a sample period of
// the even grid the first and last timestamps define.
constexpr double kTimeGridToleranceSamples = 0.5;

// With semicolon or tab separators a decimal comma is accepted too.
std::optional<double> parse_number(std::string_view field, bool decimalComma = false) {
  field = trim(field);
  std::string withPoint;
  if (decimalComma && field.find(',') != std::string_view::npos) {
    withPoint.assign(field);
    std::replace(withPoint.begin(), withPoint.end(), ',', '.');
    field = withPoint;
  }
  if (!field.empty() && field.front() == '+') field.remove_prefix(1);
  double value = 0.0;
  const auto [end, ec] = std::from_chars(field.data(), field.data() + field.size(), value);
  if (ec != std::errc() || end != field.data() + field.size() || field.empty()) return std::nullopt;
  return value;
}

std::string read_bytes(const std::string& path) {
  std::error_code ec;
  if (!fs::exists(path, ec)) throw InputError(path, "no such file");
  if (fs::is_directory(path, ec)) throw InputError(path, "is a folder, not a file");
  std::ifstream in(path, std::ios::binary);
  if (!in) throw InputError(path, "cannot open file (permission denied?)");
  std::ostringstream content;
  content << in.rdbuf();
  if (in.bad()) throw InputError(path, "read error");
  return content.str();
}

std::vector<std::string_view> split(std::string_view line, char delimiter) {
  std::vector<std::string_view> fields;
  if (delimiter == '\0') return {line};
  std::size_t from = 0;
  for (;;) {
    const auto at = line.find(delimiter, from);
    fields.push_back(line.substr(from, at == std::string_view::npos ? std::string_view::npos : at - from));
    if (at == std::string_view::npos) return fields;
    from = at + 1;
  }
}

char detect_delimiter(std::string_view firstLine) {
  for (const char c : {'\t', ';', ','})
    if (firstLine.find(c) != std::string_view::npos) return c;
  return '\0';
}

bool looks_like_time(std::string_view name) {
  const std::string n = lower(trim(name));
  return n == "t" || n.find("time") != std::string::npos || n.find("sec") != std::string::npos ||
         n == "s" || n == "t_s";
}

// Index of the column the user asked for, by header name or 0-based index.
std::size_t choose_column(const std::string& source, const std::vector<std::string>& names,
                          std::size_t columns, bool hasTime, const std::string& wanted) {
  if (wanted.empty()) return hasTime ? 1 : 0;
  for (std::size_t i = 0; i < names.size(); ++i)
    if (trim(names[i]) == wanted) return i;
  if (const auto index = parse_index(wanted)) {
    if (*index < columns) return *index;
    throw InputError(source, "column " + wanted + " does not exist (the file has " +
                                 std::to_string(columns) + " columns)");
  }
  throw InputError(source, "no column named '" + wanted + "'");
}

void check_time_grid(const std::string& source, const std::vector<double>& t, std::size_t firstLine,
                     const std::vector<std::size_t>& lineOf, double& fsHz) {
  if (t.size() < 2) throw InputError(source, "a time column needs at least two rows");
  const double span = t.back() - t.front();
  if (!(span > 0.0)) throw InputError(source, "the time column does not increase");
  fsHz = static_cast<double>(t.size() - 1) / span;
  const double period = span / static_cast<double>(t.size() - 1);
  for (std::size_t i = 0; i < t.size(); ++i) {
    const double expected = t.front() + static_cast<double>(i) * period;
    if (std::abs(t[i] - expected) > kTimeGridToleranceSamples * period) {
      throw InputError(source, "line " + std::to_string(lineOf[i]) +
                                   ": time column is not evenly spaced (expected about " +
                                   std::to_string(expected) + " s)");
    }
  }
  (void)firstLine;
}

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

Recording parse_csv(std::string_view text, const std::string& source, const ReadOptions& options) {
  std::vector<std::pair<std::size_t, std::string_view>> lines;  // 1-based line number, text
  std::size_t lineNumber = 0;
  while (!text.empty()) {
    const auto end = text.find('\n');
    std::string_view line = text.substr(0, end);
    ++lineNumber;
    if (!trim(line).empty()) lines.emplace_back(lineNumber, line);
    if (end == std::string_view::npos) break;
    text.remove_prefix(end + 1);
  }
  if (lines.empty()) throw InputError(source, "is empty");

  const char delimiter = detect_delimiter(lines.front().second);
  const bool decimalComma = delimiter == ';' || delimiter == '\t';
  std::vector<std::string> names;
  const auto firstFields = split(lines.front().second, delimiter);
  const bool hasHeader = std::any_of(firstFields.begin(), firstFields.end(),
                                     [&](std::string_view f) { return !parse_number(f, decimalComma); });
  if (hasHeader) {
    for (const auto f : firstFields) names.emplace_back(trim(f));
    lines.erase(lines.begin());
    if (lines.empty()) throw InputError(source, "has a header line but no samples");
  }
  const std::size_t columns = firstFields.size();
  const bool hasTime = columns >= 2 && (hasHeader ? looks_like_time(names[0]) : columns == 2);
  const std::size_t valueColumn = choose_column(source, names, columns, hasTime, options.signal);

  Recording r;
  r.source = source;
  r.format = "csv";
  r.signalName = hasHeader ? names[valueColumn] : "column " + std::to_string(valueColumn);
  std::vector<double> times;
  std::vector<std::size_t> lineOf;
  r.samples.reserve(lines.size());
  for (const auto& [number, line] : lines) {
    const auto fields = split(line, delimiter);
    if (fields.size() != columns) {
      throw InputError(source, "line " + std::to_string(number) + ": " + std::to_string(fields.size()) +
                                   " fields where the first line has " + std::to_string(columns));
    }
    for (std::size_t c = 0; c < columns; ++c) {
      if (c != valueColumn && !(hasTime && c == 0)) continue;
      const auto value = parse_number(fields[c], decimalComma);
      if (!value) {
        throw InputError(source, "line " + std::to_string(number) + ", column " + std::to_string(c + 1) +
                                     ": '" + std::string(trim(fields[c])) + "' is not a number");
      }
      if (c == valueColumn) r.samples.push_back(*value);
      if (hasTime && c == 0) times.push_back(*value);
    }
    lineOf.push_back(number);
  }
  if (options.fsHz) {
    r.fsHz = *options.fsHz;
  } else if (hasTime) {
    check_time_grid(source, times, lines.front().first, lineOf, r.fsHz);
  } else {
    throw InputError(source, "has no time column: give the sampling rate with --fs");
  }
  return r;
}

Recording read_csv(const std::string& path, const ReadOptions& options) {
  const std::string text = read_bytes(path);
  if (text.find('\0') != std::string::npos) throw InputError(path, "is binary, not CSV text");
  return parse_csv(text, path, options);
}

Recording read_wfdb(const std::string& path, const ReadOptions& options) {
  fs::path p(path);
  const std::string ext = lower(p.extension().string());
  if (ext == ".hea" || ext == ".dat") p.replace_extension();
  const fs::path directory = p.has_parent_path() ? p.parent_path() : fs::path(".");
  const std::string name = p.filename().string();
  std::error_code ec;
  if (!fs::exists(directory / (name + ".hea"), ec)) throw InputError(path, "no such record (missing " + name + ".hea)");
  try {
    const wfdb::Record record = wfdb::read_record(directory, name);
    if (record.header.signals.empty()) throw InputError(path, "the header lists no signals");
    std::size_t index = 0;
    if (!options.signal.empty()) {
      if (const auto byName = wfdb::find_signal(record.header, options.signal)) {
        index = *byName;
      } else if (const auto byIndex = parse_index(options.signal); byIndex && *byIndex < record.header.signals.size()) {
        index = *byIndex;
      } else {
        throw InputError(path, "no signal '" + options.signal + "' in the record");
      }
    }
    const auto& spec = record.header.signals[index];
    Recording r;
    r.source = path;
    r.format = "wfdb";
    r.signalName = spec.description.empty() ? "signal " + std::to_string(index) : spec.description;
    r.units = spec.units;
    r.fsHz = options.fsHz.value_or(record.header.samplingFrequency);
    r.samples = wfdb::physical_signal(record, index);
    r.fullScale = wfdb::full_scale(spec);
    r.startTime = wfdb_start_time(record.header);
    return r;
  } catch (const wfdb::Error& e) {
    throw InputError(std::string(e.what()));  // names the header or signal file
  }
}

RecordingInfo read_recording_chunks(const std::string& path, const ReadOptions& options, SampleSink& sink) {
  if (options.fsHz && !(*options.fsHz > 0.0)) throw InputError(path, "sampling rate must be positive (--fs)");
  const InputFormat format = options.format == InputFormat::Auto ? detect_format(path) : options.format;
  if (format == InputFormat::Edf) return read_edf_chunks(path, options, sink);
  if (format == InputFormat::Raw) return read_raw_chunks(path, options, sink);
  Recording r = format == InputFormat::Csv ? read_csv(path, options) : read_wfdb(path, options);
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
  try {
    return wfdb::resample(recording.samples, recording.fsHz, wfdb::kAnalysisRateHz);
  } catch (const wfdb::Error& e) {
    throw InputError(recording.source, e.what());
  }
}

}  // namespace zyn::recording
