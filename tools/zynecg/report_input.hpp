// Everything the HTML report shows about one analysed recording, gathered
// from the whole-recording results: file metadata, the analysed 200 Hz
// signal, the beats by class, window qualities, heart rates, the
// whole-recording HRV with the library's periodogram, the 5-minute table
// and the warnings. Times are seconds, intervals and band powers as the
// library gives them (s, s²).
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "report_figures.hpp"

namespace zyn::cli {

struct ReportSegment {
  double startSeconds = 0, seconds = 0;   // from the first analysed sample
  std::optional<double> meanHrBpm, sdnnSeconds, rmssdSeconds;
  std::size_t normalBeats = 0, extraSystoles = 0;
};

struct ReportInput {
  std::string file, format, signalName, units;
  double fileRateHz = 0;
  double recordedSeconds = 0;             // length of the whole file
  double offsetSeconds = 0;               // where the analysis starts in the file
  std::string startDate;                  // date of the first recorded sample, as the header gives it
  std::optional<double> startOfDaySeconds;  // its clock time, seconds after midnight

  std::span<const double> ecg200;         // the analysed signal at 200 Hz, in `units`
  std::optional<double> unitsPerMillivolt;  // empty when the file does not say
  std::string gainSource;                 // where unitsPerMillivolt comes from

  std::vector<int64_t> normalBeats, extraSystoles;  // positions in ecg200
  int32_t windowSeconds = 10;
  struct Window {
    double startSeconds = 0, endSeconds = 0;  // from the first analysed sample
    int32_t code = 0;
  };
  std::vector<Window> windows;            // signal quality, in time order

  std::optional<double> hrBpm, hrMeanBpm;
  std::optional<std::array<double, 7>> timeDomain;       // nn_rr, avnn, sdnn, sdann, sdnnidx, rmssd, pnn50
  std::optional<std::array<double, 6>> frequencyDomain;  // total, ULF, VLF, LF, HF (s²), LF/HF
  std::vector<double> spectrumHz, spectrumPower;         // the library's periodogram, s² per point
  BeatIntervals rr;                            // endSeconds from the first analysed sample
  std::vector<ReportSegment> segments;    // startSeconds from the first analysed sample
  std::string hrvNote;                    // why HRV statistics are missing, if they are
  std::vector<std::string> warnings;
};

// The data document the page's script reads (JSON, with the signal's
// chunk lines kept apart in `signalLines`).
struct ReportDocument {
  std::string json;
  std::string signalLines;
};
ReportDocument report_document(const ReportInput& input);

// The whole page: template, style, script and data.
std::string render_report(const ReportInput& input);

}  // namespace zyn::cli
