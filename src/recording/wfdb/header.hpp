// WFDB record headers (.hea): the record line (name, number of signals,
// sampling frequency, samples per signal) and one line per signal (file,
// storage format, gain and baseline, ADC resolution and zero, first value,
// checksum, block size, description). Comment lines start with '#'; both LF
// and CRLF line endings are accepted. Multi-segment records are refused.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zyn::wfdb {

// Gain WFDB assumes for an uncalibrated signal (gain field 0), ADC units per mV.
inline constexpr double kDefaultGainAdcPerMillivolt = 200.0;

struct SignalSpec {
  std::string fileName;
  int format = 0;             // storage format (16, 212, ...)
  int samplesPerFrame = 1;    // "x" suffix of the format field
  int skew = 0;               // ":" suffix, in frames
  long byteOffset = 0;        // "+" suffix, bytes before the first sample
  double gain = kDefaultGainAdcPerMillivolt;  // ADC units per physical unit
  bool calibrated = true;     // false when the header's gain was 0 or absent
  int32_t baseline = 0;       // ADC value of physical zero (defaults to adcZero)
  std::string units = "mV";
  int adcResolution = 0;      // bits
  int32_t adcZero = 0;        // ADC value at the middle of the ADC range
  std::optional<int32_t> initialValue;
  std::optional<int32_t> checksum;  // 16-bit sum of all samples, signed
  long blockSize = 0;
  std::string description;
};

struct Header {
  std::string recordName;
  double samplingFrequency = 250.0;   // samples per second per signal
  double counterFrequency = 0.0;      // 0 when the header gives none
  long numSamples = 0;                // per signal; 0 when unknown
  std::string baseTime;               // "HH:MM:SS" of the first sample, as written; empty when absent
  std::string baseDate;               // "DD/MM/YYYY", as written; empty when absent
  std::vector<SignalSpec> signals;
  std::vector<std::string> comments;  // text after '#', one per comment line

  double durationSeconds() const { return static_cast<double>(numSamples) / samplingFrequency; }
};

// Parses header text; source names the file in error messages.
Header parse_header(std::string_view text, std::string_view source);

// Reads and parses a .hea file.
Header read_header(const std::filesystem::path& headerPath);

// Index of the first signal whose description equals name, if any.
std::optional<std::size_t> find_signal(const Header& header, std::string_view name);

// Physical value of an ADC sample: (sample - baseline) / gain.
double to_physical(int32_t sample, const SignalSpec& spec);

// Largest magnitude, in physical units, that the signal's ADC range can
// represent: the farther of the two range ends from the baseline.
double full_scale(const SignalSpec& spec);

// ADC resolution in bits, with WFDB's defaults when the header leaves it 0.
int effective_adc_resolution(const SignalSpec& spec);

}  // namespace zyn::wfdb
