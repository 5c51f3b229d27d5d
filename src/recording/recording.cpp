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

#include "reader_text.hpp"
#include "wfdb/error.hpp"
#include "wfdb/resample.hpp"
#include "wfdb/signals.hpp"

namespace zyn::recording {
namespace fs = std::filesystem;
namespace {

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
