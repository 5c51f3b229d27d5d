// The report's view of an analysed file. See report.hpp.
#include "report.hpp"

#include <algorithm>

namespace zyn::cli {
namespace {

// Signal units per millivolt, for the units the readers give.
std::optional<double> units_per_millivolt(const std::string& units) {
  if (units == "mV") return 1.0;
  if (units == "uV" || units == "µV") return 1000.0;
  if (units == "V") return 0.001;
  return std::nullopt;
}

RrSeries rr_series(const FileAnalysis& f) {
  RrSeries s;
  const auto& beats = f.beats().beats;
  for (std::size_t i = 1; i < beats.size(); ++i) {
    s.endSeconds.push_back(static_cast<double>(beats[i].sample) / kAnalysisRateHz);
    s.rrSeconds.push_back(static_cast<double>(beats[i].sample - beats[i - 1].sample) / kAnalysisRateHz);
    s.nn.push_back(!beats[i].extra && !beats[i - 1].extra);
  }
  return s;
}

}  // namespace

ReportInput report_input(const FileAnalysis& f, const ReportOptions& options) {
  ReportInput in;
  const Recording& r = f.recording;
  in.file = r.source;
  in.format = r.format;
  in.signalName = r.signalName;
  in.units = r.units;
  in.fileRateHz = r.fsHz;
  in.recordedSeconds = r.durationSeconds();
  in.offsetSeconds = static_cast<double>(f.startSample200) / kAnalysisRateHz;
  in.ecg200 = f.ecg200;
  if (options.gainUnitsPerMillivolt) {
    in.unitsPerMillivolt = options.gainUnitsPerMillivolt;
    in.gainSource = "--gain";
  } else if ((in.unitsPerMillivolt = units_per_millivolt(r.units))) {
    in.gainSource = "header";
  }
  for (const Beat& b : f.beats().beats) (b.extra ? in.extraSystoles : in.normalBeats).push_back(b.sample);
  in.windowSeconds = f.options.windowSeconds;
  for (const QualityWindow& w : f.beats().windows) in.windowCodes.push_back(w.code);
  in.hrBpm = f.summary.hr;
  in.hrMeanBpm = f.summary.hrMean;
  in.timeDomain = f.summary.timeDomain;
  in.frequencyDomain = f.summary.frequencyDomain;
  in.rr = rr_series(f);
  in.hrvNote = f.summary.hrvNote;
  in.warnings = f.summary.warnings;
  return in;
}

std::string html_report(const FileAnalysis& f, const ReportOptions& options) {
  return render_report(report_input(f, options));
}

}  // namespace zyn::cli
