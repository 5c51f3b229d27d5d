// Reading one ECG signal from a file: CSV text, WFDB records, EDF/EDF+ files
// and raw little-endian samples. Every reader returns the samples at the
// file's own sampling rate, in millivolts where the file says how to scale
// them (raw int16 samples stay in ADC units), with the recorder's full-scale
// amplitude when the file's header gives one. Problems are reported as an
// InputError whose message names the file and the problem.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <algorithm>
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
enum class TimeUnit { Seconds, Milliseconds };

struct ReadOptions {
  InputFormat format = InputFormat::Auto;
  std::optional<double> fsHz;        // required for raw files and one-column CSV
  std::string signal;                // name or 0-based index; empty: the first ECG signal
  std::optional<RawType> rawType;    // default from the extension (.i16), else float64
  std::optional<TimeUnit> timeUnit;  // of a CSV time column; default from its name or its rate
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
  std::string startTime;             // "YYYY-MM-DDThh:mm:ss" of the first sample ("hh:mm:ss" when the
                                     // file gives no date); empty when the file gives no time

  double durationSeconds() const { return static_cast<double>(sampleCount) / fsHz; }
};

struct Recording : RecordingInfo {
  std::vector<double> samples;
};

InputFormat parse_format(std::string_view name);
std::string_view format_name(InputFormat format);

// Receives a signal as it is read: begin once with what the file says (the
// sample count may be 0 when unknown), then the samples in order, in chunks.
class SampleSink {
 public:
  virtual ~SampleSink() = default;
  virtual void begin(const RecordingInfo& info) = 0;
  virtual void append(std::span<const double> samples) = 0;
};

// Keeps every sample.
class CollectingSink : public SampleSink {
 public:
  void begin(const RecordingInfo& info) override {
    samples.reserve(static_cast<std::size_t>(std::max<int64_t>(info.sampleCount, 0)));
  }
  void append(std::span<const double> chunk) override { samples.insert(samples.end(), chunk.begin(), chunk.end()); }
  std::vector<double> samples;
};

// Runs a chunked reader and keeps every sample.
Recording collect_samples(const std::function<RecordingInfo(SampleSink&)>& read);

// Samples handed to a sink at a time.
inline constexpr std::size_t kReadChunkSamples = std::size_t{1} << 16;

// Reads a file in the given (or detected) format and hands its samples to
// the sink as they are read (raw, EDF and WFDB files in chunks, so that a long
// recording is never held whole at its own rate). Returns what the file
// says about its signal, with the number of samples read.
RecordingInfo read_recording_chunks(const std::string& path, const ReadOptions& options, SampleSink& sink);

// Reads a file in the given (or detected) format and checks that it holds at
// least one sample and a positive sampling rate.
Recording read_recording(const std::string& path, const ReadOptions& options);

Recording read_csv(const std::string& path, const ReadOptions& options);
Recording read_wfdb(const std::string& path, const ReadOptions& options);
Recording read_edf(const std::string& path, const ReadOptions& options);
Recording read_raw(const std::string& path, const ReadOptions& options);
RecordingInfo read_edf_chunks(const std::string& path, const ReadOptions& options, SampleSink& sink);
RecordingInfo read_raw_chunks(const std::string& path, const ReadOptions& options, SampleSink& sink);
RecordingInfo read_wfdb_chunks(const std::string& path, const ReadOptions& options, SampleSink& sink);

// Sampling rates a recording may have: an ECG is recorded at tens of hertz to
// tens of kilohertz, and converting rates whose ratio is far beyond these
// (10^12 and more) does not finish.
inline constexpr double kLowestSamplingRateHz = 1.0;
inline constexpr double kHighestSamplingRateHz = 1.0e6;

// Throws InputError unless the signal holds samples at a rate between the
// lowest and the highest sampling rate.
void check_rate_and_length(const RecordingInfo& info);

// Text helpers of the readers: lower case, fields without blanks, CR or
// quotes around them, and whole non-negative numbers.
std::string lower(std::string_view s);
std::string_view trim(std::string_view s);
std::optional<std::size_t> parse_index(std::string_view s);

// Parses CSV text (comma, semicolon or tab separated; decimal points or
// commas; one value column, or a time column in seconds or milliseconds and
// value columns; an optional header line). See csv.cpp for how the layout
// is read from the content.
Recording parse_csv(std::string_view text, const std::string& source, const ReadOptions& options);

// The recording resampled to the analysis rate of 200 Hz.
std::vector<double> at_analysis_rate(const Recording& recording);

}  // namespace zyn::recording
