// Reading one ECG signal from a file: CSV text, WFDB records, EDF/EDF+ files
// and raw little-endian samples. Every reader returns the samples at the
// file's own sampling rate, in millivolts where the file says how to scale
// them (raw int16 samples stay in ADC units), with the recorder's full-scale
// amplitude when the file's header gives one. Problems are reported as an
// InputError whose message names the file and the problem.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace zyn::recording {

class InputError : public std::runtime_error {
 public:
  InputError(std::string_view file, std::string_view problem)
      : std::runtime_error(std::string(file) + ": " + std::string(problem)) {}
  // A message that already starts with the file's name.
  explicit InputError(const std::string& message) : std::runtime_error(message) {}
};

enum class InputFormat { Auto, Csv, Wfdb, Edf, Raw };
enum class RawType { Float64, Int16 };

struct ReadOptions {
  InputFormat format = InputFormat::Auto;
  std::optional<double> fsHz;        // required for raw files and one-column CSV
  std::string signal;                // name or 0-based index; empty: the first ECG signal
  std::optional<RawType> rawType;    // default from the extension (.i16), else float64
};

// What a file says about its signal.
struct RecordingInfo {
  std::string source;                // path as given
  std::string format;                // "csv", "wfdb", "edf", "raw"
  std::string signalName;
  std::string units = "mV";
  double fsHz = 0.0;
  int64_t sampleCount = 0;           // at fsHz
  std::optional<double> fullScale;   // largest representable magnitude, in `units`
  std::string startTime;             // "YYYY-MM-DDThh:mm:ss" of the first sample, when the file gives it

  double durationSeconds() const { return static_cast<double>(sampleCount) / fsHz; }
};

struct Recording : RecordingInfo {
  std::vector<double> samples;
};

InputFormat parse_format(std::string_view name);
std::string_view format_name(InputFormat format);

// Reads a file in the given (or detected) format and checks that it holds at
// least one sample and a positive sampling rate.
Recording read_recording(const std::string& path, const ReadOptions& options);

Recording read_csv(const std::string& path, const ReadOptions& options);
Recording read_wfdb(const std::string& path, const ReadOptions& options);
Recording read_edf(const std::string& path, const ReadOptions& options);
Recording read_raw(const std::string& path, const ReadOptions& options);

// Parses CSV text (comma, semicolon or tab separated; one value column, or a
// time column in seconds and value columns; an optional header line).
Recording parse_csv(std::string_view text, const std::string& source, const ReadOptions& options);

// The recording resampled to the analysis rate of 200 Hz.
std::vector<double> at_analysis_rate(const Recording& recording);

}  // namespace zyn::recording
