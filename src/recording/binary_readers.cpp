// EDF/EDF+ files (through libedf) and raw little-endian samples, read in
// chunks: EDF signals in physical units converted to millivolts where the
// unit is a volt multiple, raw int16 samples in ADC units, raw float64 as
// they are. See recording.hpp.
#include <edflib.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>

#include "recording.hpp"

namespace zyn::recording {
namespace fs = std::filesystem;
namespace {

// Physical units of EDF signals, as factors to millivolts.
std::optional<double> millivolts_per_unit(std::string_view unit) {
  const std::string u = lower(trim(unit));
  if (u == "mv") return 1.0;
  if (u == "uv" || u == "\xb5v" || u == "\xc2\xb5v") return 1e-3;
  if (u == "v") return 1e3;
  if (u == "nv") return 1e-6;
  return std::nullopt;
}

// libedf keeps its open files in a process-wide table that is not
// protected against concurrent use.
std::mutex libedfMutex;

struct EdfFile {
  edf_hdr_struct header{};
  bool open = false;
  ~EdfFile() {
    if (open) edfclose_file(header.handle);
  }
};

void open_edf(const std::string& path, EdfFile& file) {
  if (edfopen_file_readonly(path.c_str(), &file.header, EDFLIB_DO_NOT_READ_ANNOTATIONS) < 0) {
    switch (file.header.filetype) {
      case EDFLIB_MALLOC_ERROR: throw InputError(path, "out of memory while opening");
      case EDFLIB_NO_SUCH_FILE_OR_DIRECTORY: throw InputError(path, "cannot open file");
      case EDFLIB_FILE_CONTAINS_FORMAT_ERRORS: throw InputError(path, "not a valid EDF/EDF+ file (format errors in the header or size)");
      case EDFLIB_FILE_IS_DISCONTINUOUS: throw InputError(path, "discontinuous EDF+D files are not supported");
      default: throw InputError(path, "cannot read as EDF (libedf error " + std::to_string(file.header.filetype) + ")");
    }
  }
  file.open = true;
}

// The signal the user asked for by label or index, else the first one
// labelled as ECG, else the first.
int choose_edf_signal(const std::string& path, const edf_hdr_struct& header, const std::string& wanted) {
  int index = -1;
  if (!wanted.empty()) {
    for (int i = 0; i < header.edfsignals; ++i)
      if (trim(header.signalparam[i].label) == wanted) index = i;
    if (const auto byIndex = parse_index(wanted);
        index < 0 && byIndex && *byIndex < static_cast<std::size_t>(header.edfsignals))
      index = static_cast<int>(*byIndex);
    if (index < 0) throw InputError(path, "no signal '" + wanted + "' in the file");
    return index;
  }
  for (int i = 0; i < header.edfsignals && index < 0; ++i) {
    const std::string label = lower(header.signalparam[i].label);
    if (label.find("ecg") != std::string::npos || label.find("ekg") != std::string::npos) index = i;
  }
  return index < 0 ? 0 : index;
}

std::string start_time_of(const edf_hdr_struct& h) {
  if (h.startdate_year <= 0) return "";
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", h.startdate_year, h.startdate_month,
                h.startdate_day, h.starttime_hour, h.starttime_minute, h.starttime_second);
  return text;
}

}  // namespace

RecordingInfo read_edf_chunks(const std::string& path, const ReadOptions& options, SampleSink& sink) {
  std::error_code ec;
  if (!fs::exists(path, ec)) throw InputError(path, "no such file");
  const std::lock_guard lock(libedfMutex);
  auto file = std::make_unique<EdfFile>();
  open_edf(path, *file);
  const edf_hdr_struct& header = file->header;
  if (header.edfsignals < 1) throw InputError(path, "holds no signals");
  const int index = choose_edf_signal(path, header, options.signal);
  const auto& param = header.signalparam[index];
  if (header.datarecord_duration <= 0) throw InputError(path, "data record duration is not positive");
  RecordingInfo r;
  r.source = path;
  r.format = "edf";
  r.signalName = std::string(trim(param.label));
  r.fsHz = options.fsHz.value_or(static_cast<double>(param.smp_in_datarecord) /
                                 (static_cast<double>(header.datarecord_duration) / EDFLIB_TIME_DIMENSION));
  r.startTime = start_time_of(header);
  if (param.smp_in_file <= 0) throw InputError(path, "signal '" + r.signalName + "' holds no samples");
  r.sampleCount = param.smp_in_file;
  const double magnitude = std::max(std::abs(param.phys_max), std::abs(param.phys_min));
  const auto factor = millivolts_per_unit(param.physdimension);
  if (factor) {
    r.fullScale = magnitude * *factor;
  } else {
    r.units = std::string(trim(param.physdimension));
    r.fullScale = magnitude;
  }
  check_rate_and_length(r);
  sink.begin(r);
  std::vector<double> chunk(kReadChunkSamples);
  int64_t done = 0;
  while (done < r.sampleCount) {
    const int wanted = static_cast<int>(std::min<int64_t>(r.sampleCount - done, std::ssize(chunk)));
    const int got = edfread_physical_samples(header.handle, index, wanted, chunk.data());
    if (got <= 0) throw InputError(path, "read error after " + std::to_string(done) + " samples (file truncated?)");
    if (factor)
      for (int i = 0; i < got; ++i) chunk[static_cast<std::size_t>(i)] *= *factor;
    sink.append(std::span<const double>(chunk.data(), static_cast<std::size_t>(got)));
    done += got;
  }
  return r;
}

RecordingInfo read_raw_chunks(const std::string& path, const ReadOptions& options, SampleSink& sink) {
  if (!options.fsHz) throw InputError(path, "raw samples need the sampling rate: give --fs");
  std::error_code ec;
  if (!fs::exists(path, ec)) throw InputError(path, "no such file");
  if (fs::is_directory(path, ec)) throw InputError(path, "is a folder, not a file");
  const auto bytes = static_cast<std::size_t>(fs::file_size(path, ec));
  if (ec) throw InputError(path, "cannot read the file's size");
  const std::string ext = lower(fs::path(path).extension().string());
  const RawType type = options.rawType.value_or(ext == ".i16" ? RawType::Int16 : RawType::Float64);
  const std::size_t width = type == RawType::Int16 ? 2 : 8;
  if (bytes == 0) throw InputError(path, "is empty");
  if (bytes % width != 0) {
    throw InputError(path, "size " + std::to_string(bytes) + " bytes is not a multiple of " + std::to_string(width) +
                               " (" + (width == 2 ? "int16" : "float64") + " samples)");
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) throw InputError(path, "cannot open file (permission denied?)");
  RecordingInfo r;
  r.source = path;
  r.format = "raw";
  r.fsHz = *options.fsHz;
  r.sampleCount = static_cast<int64_t>(bytes / width);
  if (type == RawType::Int16) {
    r.units = "adu";
    r.signalName = "int16";
    r.fullScale = 32768.0;
  } else {
    r.signalName = "float64";
  }
  check_rate_and_length(r);
  sink.begin(r);
  std::vector<unsigned char> raw(kReadChunkSamples * width);
  std::vector<double> chunk(kReadChunkSamples);
  std::size_t left = bytes / width;
  while (left > 0) {
    const std::size_t n = std::min(left, kReadChunkSamples);
    in.read(reinterpret_cast<char*>(raw.data()), static_cast<std::streamsize>(n * width));
    if (!in) throw InputError(path, "read error");
    for (std::size_t i = 0; i < n; ++i) {
      const unsigned char* at = raw.data() + i * width;
      if (type == RawType::Int16) {
        chunk[i] = static_cast<int16_t>(static_cast<uint16_t>(at[0] | (at[1] << 8)));
      } else {
        uint64_t bits = 0;
        for (std::size_t b = 0; b < 8; ++b) bits |= static_cast<uint64_t>(at[b]) << (8 * b);
        std::memcpy(&chunk[i], &bits, sizeof(double));
      }
    }
    sink.append(std::span<const double>(chunk.data(), n));
    left -= n;
  }
  return r;
}

Recording read_edf(const std::string& path, const ReadOptions& options) {
  return collect_samples([&](SampleSink& sink) { return read_edf_chunks(path, options, sink); });
}

Recording read_raw(const std::string& path, const ReadOptions& options) {
  return collect_samples([&](SampleSink& sink) { return read_raw_chunks(path, options, sink); });
}

void check_rate_and_length(const RecordingInfo& r) {
  if (r.sampleCount <= 0) throw InputError(r.source, "holds no samples");
  if (!(r.fsHz > 0.0) || !std::isfinite(r.fsHz))
    throw InputError(r.source, "sampling rate must be positive (got " + std::to_string(r.fsHz) + " Hz)");
  if (r.fsHz < kLowestSamplingRateHz || r.fsHz > kHighestSamplingRateHz)
    throw InputError(r.source, "sampling rate must lie between 1 Hz and 1 MHz (got " + std::to_string(r.fsHz) + " Hz)");
}

}  // namespace zyn::recording
