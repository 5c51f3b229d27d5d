// Readers of ECG files. See recording.hpp.
#include "recording.hpp"

#include <edflib.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
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
namespace {

// Timestamps may be rounded; each must lie within half a sample period of
// the even grid the first and last timestamps define.
constexpr double kTimeGridToleranceSamples = 0.5;

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

std::optional<std::size_t> parse_index(std::string_view s) {
  std::size_t value = 0;
  const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), value);
  if (ec != std::errc() || end != s.data() + s.size() || s.empty()) return std::nullopt;
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
  if (r.samples.empty()) throw InputError(r.source, "holds no samples");
  if (!(r.fsHz > 0.0) || !std::isfinite(r.fsHz))
    throw InputError(r.source, "sampling rate must be positive (got " + std::to_string(r.fsHz) + " Hz)");
}

// Physical units of EDF signals, as factors to millivolts.
std::optional<double> millivolts_per_unit(std::string_view unit) {
  const std::string u = lower(trim(unit));
  if (u == "mv") return 1.0;
  if (u == "uv" || u == "\xb5v" || u == "\xc2\xb5v") return 1e-3;
  if (u == "v") return 1e3;
  if (u == "nv") return 1e-6;
  return std::nullopt;
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
    return r;
  } catch (const wfdb::Error& e) {
    throw InputError(std::string(e.what()));  // names the header or signal file
  }
}

Recording read_edf(const std::string& path, const ReadOptions& options) {
  std::error_code ec;
  if (!fs::exists(path, ec)) throw InputError(path, "no such file");
  // libedf keeps its open files in a process-wide table that is not
  // protected against concurrent use.
  static std::mutex libedfMutex;
  const std::lock_guard lock(libedfMutex);
  auto header = std::make_unique<edf_hdr_struct>();
  if (edfopen_file_readonly(path.c_str(), header.get(), EDFLIB_DO_NOT_READ_ANNOTATIONS) < 0) {
    switch (header->filetype) {
      case EDFLIB_MALLOC_ERROR: throw InputError(path, "out of memory while opening");
      case EDFLIB_NO_SUCH_FILE_OR_DIRECTORY: throw InputError(path, "cannot open file");
      case EDFLIB_FILE_CONTAINS_FORMAT_ERRORS: throw InputError(path, "not a valid EDF/EDF+ file (format errors in the header or size)");
      case EDFLIB_FILE_IS_DISCONTINUOUS: throw InputError(path, "discontinuous EDF+D files are not supported");
      default: throw InputError(path, "cannot read as EDF (libedf error " + std::to_string(header->filetype) + ")");
    }
  }
  struct Closer {
    int handle;
    ~Closer() { edfclose_file(handle); }
  } closer{header->handle};
  if (header->edfsignals < 1) throw InputError(path, "holds no signals");

  int index = -1;
  if (!options.signal.empty()) {
    for (int i = 0; i < header->edfsignals; ++i)
      if (trim(header->signalparam[i].label) == options.signal) index = i;
    if (const auto byIndex = parse_index(options.signal); index < 0 && byIndex &&
                                                          *byIndex < static_cast<std::size_t>(header->edfsignals))
      index = static_cast<int>(*byIndex);
    if (index < 0) throw InputError(path, "no signal '" + options.signal + "' in the file");
  } else {
    // The first signal labelled as ECG, else the first signal.
    for (int i = 0; i < header->edfsignals && index < 0; ++i) {
      const std::string label = lower(header->signalparam[i].label);
      if (label.find("ecg") != std::string::npos || label.find("ekg") != std::string::npos) index = i;
    }
    if (index < 0) index = 0;
  }
  const auto& param = header->signalparam[index];
  if (header->datarecord_duration <= 0) throw InputError(path, "data record duration is not positive");
  Recording r;
  r.source = path;
  r.format = "edf";
  r.signalName = std::string(trim(param.label));
  r.fsHz = options.fsHz.value_or(static_cast<double>(param.smp_in_datarecord) /
                                 (static_cast<double>(header->datarecord_duration) / EDFLIB_TIME_DIMENSION));
  if (param.smp_in_file <= 0) throw InputError(path, "signal '" + r.signalName + "' holds no samples");
  r.samples.resize(static_cast<std::size_t>(param.smp_in_file));
  std::size_t done = 0;
  while (done < r.samples.size()) {
    const int chunk = static_cast<int>(std::min<std::size_t>(r.samples.size() - done, 1 << 20));
    const int got = edfread_physical_samples(header->handle, index, chunk, r.samples.data() + done);
    if (got <= 0) throw InputError(path, "read error after " + std::to_string(done) + " samples (file truncated?)");
    done += static_cast<std::size_t>(got);
  }
  const double magnitude = std::max(std::abs(param.phys_max), std::abs(param.phys_min));
  if (const auto factor = millivolts_per_unit(param.physdimension)) {
    for (double& v : r.samples) v *= *factor;
    r.fullScale = magnitude * *factor;
  } else {
    r.units = std::string(trim(param.physdimension));
    r.fullScale = magnitude;
  }
  return r;
}

Recording read_raw(const std::string& path, const ReadOptions& options) {
  if (!options.fsHz) throw InputError(path, "raw samples need the sampling rate: give --fs");
  const std::string bytes = read_bytes(path);
  const std::string ext = lower(fs::path(path).extension().string());
  const RawType type = options.rawType.value_or(ext == ".i16" ? RawType::Int16 : RawType::Float64);
  const std::size_t width = type == RawType::Int16 ? 2 : 8;
  if (bytes.empty()) throw InputError(path, "is empty");
  if (bytes.size() % width != 0) {
    throw InputError(path, "size " + std::to_string(bytes.size()) + " bytes is not a multiple of " +
                               std::to_string(width) + " (" + (width == 2 ? "int16" : "float64") + " samples)");
  }
  Recording r;
  r.source = path;
  r.format = "raw";
  r.fsHz = *options.fsHz;
  r.samples.resize(bytes.size() / width);
  const auto* data = reinterpret_cast<const unsigned char*>(bytes.data());
  for (std::size_t i = 0; i < r.samples.size(); ++i) {
    const unsigned char* at = data + i * width;
    if (type == RawType::Int16) {
      r.samples[i] = static_cast<int16_t>(static_cast<uint16_t>(at[0] | (at[1] << 8)));
    } else {
      uint64_t bits = 0;
      for (std::size_t b = 0; b < 8; ++b) bits |= static_cast<uint64_t>(at[b]) << (8 * b);
      double v = 0.0;
      std::memcpy(&v, &bits, sizeof v);
      r.samples[i] = v;
    }
  }
  if (type == RawType::Int16) {
    r.units = "adu";
    r.signalName = "int16";
    r.fullScale = 32768.0;
  } else {
    r.signalName = "float64";
  }
  return r;
}

Recording read_recording(const std::string& path, const ReadOptions& options) {
  if (options.fsHz && !(*options.fsHz > 0.0)) throw InputError(path, "sampling rate must be positive (--fs)");
  const InputFormat format = options.format == InputFormat::Auto ? detect_format(path) : options.format;
  Recording r;
  switch (format) {
    case InputFormat::Csv: r = read_csv(path, options); break;
    case InputFormat::Wfdb: r = read_wfdb(path, options); break;
    case InputFormat::Edf: r = read_edf(path, options); break;
    case InputFormat::Raw: r = read_raw(path, options); break;
    case InputFormat::Auto: break;
  }
  check_samples(r);
  return r;
}

std::vector<double> at_analysis_rate(const Recording& recording) {
  try {
    return wfdb::resample(recording.samples, recording.fsHz, wfdb::kAnalysisRateHz);
  } catch (const wfdb::Error& e) {
    throw InputError(recording.source, e.what());
  }
}

}  // namespace zyn::recording
