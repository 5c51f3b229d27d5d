// One file from reading to results: reads the recording, resamples it to
// 200 Hz, cuts it at the start second, analyses it in stretches and sums up
// heart rates, beat counts, quality and HRV statistics over the whole.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "recording.hpp"
#include "stretches.hpp"

namespace zyn::cli {

struct FileOptions {
  ReadOptions read;
  Mode mode = Mode::Both;
  int32_t startSeconds = 0;
  int32_t windowSeconds = 10;
  std::optional<double> fullScale;   // default: the file's header, else 10 (mV)
};

// Values over the whole recording. With one stretch they are the library's
// values; with several, the mean of the stretches' values weighted by the
// length of signal each stretch owns (stretches whose analysis failed are
// left out).
struct WholeSummary {
  std::string method;                // how rates, beats and quality were combined
  std::string hrvMethod;             // how the HRV statistics were combined
  std::optional<double> hr, hrMean;
  std::optional<std::array<double, 7>> timeDomain;
  std::optional<std::array<double, 6>> frequencyDomain;
  std::size_t normalBeats = 0, extraSystoles = 0;
  std::size_t goodWindows = 0, windows = 0;
  std::string hrvNote;               // why no HRV statistics exist, if so
  std::vector<std::string> warnings; // likely mistakes in the input or options
};

struct FileAnalysis {
  Recording recording;               // samples at the file's rate
  std::vector<double> ecg200;        // the analysed signal: 200 Hz, from the start second on
  int64_t startSample200 = 0;        // first analysed sample in the whole 200 Hz recording
  double fullScale = 0.0;
  std::string fullScaleSource;       // "header", "option" or "default"
  FileOptions options;
  // Beat detection runs in stretches of at most 119,936 samples, HRV in
  // stretches of at most 120,000; in mode "both" each has its own stretches.
  std::optional<WholeAnalysis> qrs, hrv;
  WholeSummary summary;

  // The run whose beats and quality windows are reported (QRS when run).
  const WholeAnalysis& beats() const { return qrs ? *qrs : *hrv; }

  // Maps a position of the analysed 200 Hz signal to the file's own rate.
  int64_t file_sample(int64_t analysed200) const;
  double seconds(int64_t analysed200) const;
};

inline constexpr double kDefaultFullScaleMillivolts = 10.0;

// Reads and analyses one file; throws InputError for unusable input.
FileAnalysis analyse_file(const std::string& path, const FileOptions& options, const Progress& progress = {});

// Meaning of an error code of the results, and of a quality window code.
std::string error_meaning(int32_t code);
std::string window_quality_meaning(int32_t code);

}  // namespace zyn::cli
