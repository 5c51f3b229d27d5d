// The report's view of an analysed recording. See report.hpp.
#include "report.hpp"

#include <algorithm>
#include <cstdio>

namespace zyn::cli {
namespace {

constexpr double kRateHz = 200.0;

// Signal units per millivolt, for the units the readers give.
std::optional<double> units_per_millivolt(const std::string& units) {
  if (units == "mV") return 1.0;
  if (units == "uV" || units == "µV") return 1000.0;
  if (units == "V") return 0.001;
  return std::nullopt;
}

// The whole-recording RR series with the time of the beat that ends each
// interval. The library labels interval i by the beat that ends it and
// keeps it as an NN interval when the beat that starts it (the end of
// interval i - 1) is normal too; the first interval never is.
BeatIntervals beat_intervals(const RecordingAnalysis& f) {
  BeatIntervals s;
  const RrSeries& rr = f.rrSeries;
  const std::size_t n = std::min(rr.rr.size(), f.beats.empty() ? 0 : f.beats.size() - 1);
  for (std::size_t i = 0; i < n; ++i) {
    s.endSeconds.push_back(static_cast<double>(f.beats[i + 1].sample) / kRateHz);
    s.rrSeconds.push_back(rr.rr[i]);
    s.nn.push_back(i > 0 && rr.flags[i] == 'N' && rr.flags[i - 1] == 'N');
  }
  return s;
}

// "YYYY-MM-DDThh:mm:ss" (or the time alone) into a date and seconds after midnight.
void set_start_time(const std::string& text, ReportInput& in) {
  const std::size_t t = text.find('T');
  const std::string clock = t == std::string::npos ? text : text.substr(t + 1);
  int h = 0, m = 0;
  double s = 0;
  if (std::sscanf(clock.c_str(), "%d:%d:%lf", &h, &m, &s) != 3) return;
  in.startOfDaySeconds = h * 3600.0 + m * 60.0 + s;
  if (t != std::string::npos) in.startDate = text.substr(0, t);
}

}  // namespace

ReportInput report_input(const RecordingAnalysis& f, const ReportOptions& options) {
  ReportInput in;
  const RecordingInfo& r = f.recording;
  in.file = r.source;
  in.format = r.format;
  in.signalName = r.signalName;
  in.units = r.units;
  in.fileRateHz = r.fsHz;
  in.recordedSeconds = r.durationSeconds();
  in.offsetSeconds = static_cast<double>(f.startSample200) / kRateHz;
  set_start_time(r.startTime, in);
  in.ecg200 = f.ecg200;
  if (options.gainUnitsPerMillivolt) {
    in.unitsPerMillivolt = options.gainUnitsPerMillivolt;
    in.gainSource = "--gain";
  } else if ((in.unitsPerMillivolt = units_per_millivolt(r.units))) {
    in.gainSource = "header";
  }
  for (const Beat& b : f.beats) (b.extra ? in.extraSystoles : in.normalBeats).push_back(b.sample);
  in.windowSeconds = f.options.windowSeconds;
  for (const QualityWindow& w : f.windows)
    in.windows.push_back({static_cast<double>(w.first) / kRateHz, static_cast<double>(w.first + w.count) / kRateHz, w.code});
  in.hrBpm = f.hrBpm;
  in.hrMeanBpm = f.hrMeanBpm;
  in.timeDomain = f.hrv.timeDomain;
  in.frequencyDomain = f.hrv.frequencyDomain;
  in.spectrumHz = f.spectrum.frequencyHz;
  in.spectrumPower = f.spectrum.power;
  in.rr = beat_intervals(f);
  for (const SegmentRow& s : f.segments)
    in.segments.push_back({s.startSeconds - in.offsetSeconds, s.endSeconds - s.startSeconds, s.meanHrBpm, s.sdnnSeconds,
                           s.rmssdSeconds, static_cast<std::size_t>(s.normalBeats), static_cast<std::size_t>(s.extraSystoles)});
  in.hrvNote = f.hrv.note;
  in.warnings = f.warnings;
  return in;
}

std::string html_report(const RecordingAnalysis& f, const ReportOptions& options) {
  return render_report(report_input(f, options));
}

}  // namespace zyn::cli
