// Analysis of a whole recording of any sampling rate and length: the one call
// that the command-line tool, the Java boundary and Spark use.
//
// The signal is converted to the analysis rate of 200 Hz, cut at the start
// second and analysed in overlapping stretches that each fit one call of the
// library's beat detection (at most 119,936 samples, about 10 minutes). The
// beats of all stretches are merged into one list per class, and that list
// goes once through the library's rhythm routines: the labelled RR series, the
// time-domain statistics with their 5-minute segments, the Lomb spectrum and
// its band powers, and the two heart rates. So SDNN is taken over every NN
// interval of the recording, SDANN and SDNNIDX over all of its 5-minute
// segments, and ULF..HF over its whole NN series; a recording that fits one
// call gets exactly the results of `zyn::analyse_hrv` on the same samples.
//
// Units: positions are 0-based sample indices (at 200 Hz from the first
// sample of the recording, or at the file's own rate), times are seconds from
// the first sample of the recording, intervals and HRV statistics are seconds,
// fractions or s^2 as the library gives them, heart rates beats per minute.
//
// Errors in the input (unreadable file, unusable options, a recording too
// short for the analysis) are thrown as InputError with a one-line message
// that names the file and the problem. The call itself starts no thread:
// stretches run through `AnalysisOptions::parallel`, which by default runs
// them one after the other on the caller's thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "analysis/pipelines.hpp"
#include "recording.hpp"
#include "stretches.hpp"
#include "whole_hrv.hpp"

namespace zyn::recording {

// Runs task(0) .. task(count - 1), in any order and possibly at once; returns
// when all have finished. Tasks do not throw.
using ParallelFor = std::function<void(std::size_t count, const std::function<void(std::size_t)>& task)>;

// Reports stretches analysed so far out of all; may be called from any of
// the threads `parallel` uses, one call at a time.
using Progress = std::function<void(std::size_t done, std::size_t total)>;

struct AnalysisOptions {
  Mode mode = Mode::Both;            // qrs: beats only; hrv and both: beats and HRV
  int32_t startSeconds = 0;          // whole seconds into the recording
  int32_t windowSeconds = 10;        // signal-quality window
  std::optional<double> fullScale;   // recorder full scale in the signal's units;
                                     // default: the file's header, else 10 (mV)
  ParallelFor parallel;              // empty: stretches one after the other
};

struct FileOptions : AnalysisOptions {
  ReadOptions read;
};

// The beats of one class in the three position scales.
struct BeatPositions {
  std::vector<int64_t> samples200Hz;   // whole recording at 200 Hz
  std::vector<int64_t> fileSamples;    // the file's own samples
  std::vector<double> seconds;         // from the first sample, rounded to 1 ms
};

// A stretch of the recording whose samples are not numbers (NaN), in seconds.
struct NaNGap {
  double startSeconds = 0.0, endSeconds = 0.0;
};

struct RecordingAnalysis {
  RecordingInfo recording;             // the file's metadata (no samples)
  AnalysisOptions options;             // as given (parallel left empty)
  double fullScale = 0.0;
  std::string fullScaleSource;         // "header", "option" or "default"

  // The analysed signal: 200 Hz, from the start second on (the only 200 Hz
  // copy of the signal); startSample200 is its first sample in the whole
  // recording at 200 Hz.
  std::vector<double> ecg200;
  int64_t startSample200 = 0;

  // Summary of the whole recording: error code of the beats (0, or 3 when
  // no stretch gave a plausible rhythm; 5 or 6 when any stretch was
  // saturated or irregular), heart rates of the merged beats.
  int32_t error = kAnalysisOk;
  std::optional<double> hrBpm, hrMeanBpm;   // median RR, trimmed mean RR
  std::vector<Beat> beats;                  // merged, ascending
  BeatPositions normal, extraSystoles;
  std::vector<QualityWindow> windows;
  std::vector<StretchResult> stretches;
  std::vector<NaNGap> nanGaps;
  WholeHrv hrv;
  RrSeries rrSeries;
  Spectrum spectrum;
  std::vector<SegmentRow> segments;
  std::vector<std::string> warnings;        // saturation, refused stretches, NaN gaps

  // Wall-clock seconds of each stage of the call, for benchmarks.
  struct Timings {
    double readAndResample = 0.0, stretches = 0.0, mergeAndHrv = 0.0;
  } timings;

  std::size_t good_windows() const;
  int64_t file_sample(int64_t analysed200) const;   // analysed 200 Hz index -> file sample
  double seconds(int64_t analysed200) const;        // analysed 200 Hz index -> seconds
};

// Samples at any rate in (in the recording's units), results out. `info`
// names the recording in messages and carries its metadata (rate, units,
// full scale, start time); its fsHz must be positive.
RecordingAnalysis analyse_samples(std::span<const double> samples, const RecordingInfo& info,
                                  const AnalysisOptions& options, const Progress& progress = {});

// Reads a file (CSV, WFDB, EDF/EDF+, raw), converting it to 200 Hz as it is
// read, and analyses it.
RecordingAnalysis analyse_file(const std::string& path, const FileOptions& options,
                               const Progress& progress = {});

// Runs the tasks on up to `threads` threads (the caller's among them);
// for callers that want the stretches of one recording analysed at once.
ParallelFor parallel_on_threads(unsigned threads);

// Meaning of an error code of the results, and of a quality window code.
std::string error_meaning(int32_t code);
std::string window_quality_meaning(int32_t code);

inline constexpr double kDefaultFullScaleMillivolts = 10.0;

}  // namespace zyn::recording
