// JSON, human summary, batch CSV and atomic writes. See output.hpp.
#include "output.hpp"

#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>

namespace zyn::cli {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::array<const char*, 7> kTimeNames = {"nn_rr", "avnn", "sdnn", "sdann", "sdnnidx", "rmssd", "pnn50"};
constexpr std::array<const char*, 7> kTimeUnits = {"fraction", "s", "s", "s", "s", "s", "fraction"};
constexpr std::array<const char*, 7> kTimeMeanings = {
    "fraction of RR intervals that are NN intervals", "mean NN interval", "standard deviation of NN intervals",
    "standard deviation of the 5-minute mean NN intervals", "mean of the 5-minute standard deviations of NN intervals",
    "root mean square of successive NN differences", "fraction of successive NN differences above 50 ms"};
constexpr std::array<const char*, 6> kFreqNames = {"tot_pwr", "ulf_pwr", "vlf_pwr", "lf_pwr", "hf_pwr", "lf_hf"};
constexpr std::array<const char*, 6> kFreqUnits = {"s^2", "s^2", "s^2", "s^2", "s^2", "ratio"};
constexpr std::array<const char*, 6> kFreqMeanings = {
    "total power up to 0.4 Hz", "power below 0.0033 Hz", "power 0.0033..0.04 Hz", "power 0.04..0.15 Hz",
    "power 0.15..0.4 Hz", "LF power over HF power"};

std::string mode_name(Mode m) { return m == Mode::Qrs ? "qrs" : m == Mode::Hrv ? "hrv" : "both"; }

Json statistics_json(const std::array<double, 7>* time, const std::array<double, 6>* freq) {
  Json j = Json::object();
  if (time != nullptr)
    for (std::size_t i = 0; i < 7; ++i)
      j[kTimeNames[i]] = {{"value", (*time)[i]}, {"unit", kTimeUnits[i]}, {"meaning", kTimeMeanings[i]}};
  if (freq != nullptr)
    for (std::size_t i = 0; i < 6; ++i)
      j[kFreqNames[i]] = {{"value", (*freq)[i]}, {"unit", kFreqUnits[i]}, {"meaning", kFreqMeanings[i]}};
  return j;
}

Json beats_json(const BeatPositions& p) {
  return {{"count", p.samples200Hz.size()},
          {"samples200Hz", p.samples200Hz},
          {"fileSamples", p.fileSamples},
          {"seconds", p.seconds}};
}

Json optional_number(const std::optional<double>& v) { return v ? Json(*v) : Json(nullptr); }

std::string fixed(double v, int decimals) {
  std::ostringstream out;
  out.precision(decimals);
  out << std::fixed << v;
  return out.str();
}

std::string csv_quote(const std::string& s) {
  std::string out = "\"";
  for (const char c : s) out += c == '"' ? std::string("\"\"") : std::string(1, c);
  return out + "\"";
}

Json stretches_json(const RecordingAnalysis& f) {
  Json stretches = Json::array();
  for (std::size_t k = 0; k < f.stretches.size(); ++k) {
    const StretchResult& s = f.stretches[k];
    Json q = Json::array();
    for (const int32_t code : s.qualities) q.push_back(code);
    stretches.push_back({{"index", k},
                         {"firstSample200Hz", s.plan.first + f.startSample200},
                         {"samples200Hz", s.plan.count},
                         {"startSeconds", s.startSeconds},
                         {"endSeconds", s.endSeconds},
                         {"beatsTakenFromSeconds", f.seconds(s.ownedFrom)},
                         {"beatsTakenToSeconds", f.seconds(s.ownedTo)},
                         {"error", s.error},
                         {"errorMeaning", error_meaning(s.error)},
                         {"hrBpm", s.hrBpm},
                         {"hrMeanBpm", s.hrMeanBpm},
                         {"qualities", std::move(q)}});
  }
  return stretches;
}

Json segments_json(const RecordingAnalysis& f) {
  Json rows = Json::array();
  for (const SegmentRow& r : f.segments) {
    rows.push_back({{"startSeconds", r.startSeconds},
                    {"endSeconds", r.endSeconds},
                    {"meanHrBpm", optional_number(r.meanHrBpm)},
                    {"sdnn", optional_number(r.sdnnSeconds)},
                    {"rmssd", optional_number(r.rmssdSeconds)},
                    {"nnIntervals", r.nnIntervals},
                    {"normalBeats", r.normalBeats},
                    {"extraSystoles", r.extraSystoles}});
  }
  return rows;
}

}  // namespace

nlohmann::ordered_json to_json(const RecordingAnalysis& f) {
  Json windows = Json::array();
  for (const QualityWindow& w : f.windows) {
    windows.push_back({{"startSeconds", w.startSeconds},
                       {"endSeconds", w.endSeconds},
                       {"code", w.code},
                       {"meaning", window_quality_meaning(w.code)}});
  }
  Json gaps = Json::array();
  for (const NaNGap& g : f.nanGaps) gaps.push_back({{"startSeconds", g.startSeconds}, {"endSeconds", g.endSeconds}});
  const WholeHrv& h = f.hrv;
  Json summary = {{"method", "beats of all stretches merged; heart rates and HRV of the merged beats of the whole recording"},
                  {"error", f.error},
                  {"errorMeaning", error_meaning(f.error)},
                  {"hrBpm", optional_number(f.hrBpm)},
                  {"hrMeanBpm", optional_number(f.hrMeanBpm)},
                  {"normalBeats", f.normal.samples200Hz.size()},
                  {"extraSystoles", f.extraSystoles.samples200Hz.size()},
                  {"qualityWindows", f.windows.size()},
                  {"goodQualityWindows", f.good_windows()},
                  {"hrv", statistics_json(h.timeDomain ? &*h.timeDomain : nullptr,
                                          h.frequencyDomain ? &*h.frequencyDomain : nullptr)}};
  if (!h.note.empty()) summary["hrvNote"] = h.note;
  summary["warnings"] = f.warnings;

  Json codes = {{"error", Json::object()}, {"windowQuality", Json::object()}};
  for (const int32_t c : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9}) codes["error"][std::to_string(c)] = error_meaning(c);
  for (const int32_t c : {0, 3, 5, 6, -1}) codes["windowQuality"][std::to_string(c)] = window_quality_meaning(c);

  return {{"file", f.recording.source},
          {"format", f.recording.format},
          {"signal", f.recording.signalName},
          {"units", f.recording.units},
          {"samplingRateHz", f.recording.fsHz},
          {"samples", f.recording.sampleCount},
          {"durationSeconds", f.recording.durationSeconds()},
          {"startTime", f.recording.startTime.empty() ? Json(nullptr) : Json(f.recording.startTime)},
          {"analysisRateHz", kAnalysisRateHz},
          {"mode", mode_name(f.options.mode)},
          {"startSeconds", f.options.startSeconds},
          {"qualityWindowSeconds", f.options.windowSeconds},
          {"fullScale", f.fullScale},
          {"fullScaleSource", f.fullScaleSource},
          {"summary", std::move(summary)},
          {"fiveMinuteSegments", segments_json(f)},
          {"beats", {{"normal", beats_json(f.normal)}, {"extraSystoles", beats_json(f.extraSystoles)}}},
          {"qualityWindows", std::move(windows)},
          {"nanGaps", std::move(gaps)},
          {"stretches", stretches_json(f)},
          {"notes",
           {{"stretches", "a recording longer than one library call allows is analysed in overlapping stretches of "
                          "at most 119,936 samples at 200 Hz; each gives its own error code, heart rates and "
                          "quality codes"},
            {"beats", "merged beats of all stretches: samples200Hz index the whole recording resampled to 200 Hz, "
                      "fileSamples the file's own samples, seconds from the start of the file"},
            {"fiveMinuteSegments", "consecutive 300 s segments from the start second: mean heart rate (60 / mean "
                                   "NN interval), SDNN and RMSSD (s) of the NN intervals ending in each, and its beats"}}},
          {"codes", std::move(codes)},
          {"timingsSeconds",
           {{"readAndResample", f.timings.readAndResample},
            {"stretches", f.timings.stretches},
            {"mergeAndHrv", f.timings.mergeAndHrv}}}};
}

std::string human_summary(const RecordingAnalysis& f) {
  std::ostringstream out;
  out << f.recording.source << " (" << f.recording.format << ", signal " << f.recording.signalName << ", "
      << fixed(f.recording.fsHz, 1) << " Hz, " << fixed(f.recording.durationSeconds(), 1) << " s";
  if (f.options.startSeconds > 0) out << ", analysed from " << f.options.startSeconds << " s";
  out << ")\n";
  if (f.stretches.size() > 1) {
    out << "  analysed in " << f.stretches.size()
        << " overlapping stretches; rates and HRV are those of the whole recording's merged beats\n";
  }
  const auto opt = [](const std::optional<double>& v, const char* what) {
    return v ? fixed(*v, 0) + " bpm (" + what + ")" : std::string("n/a");
  };
  out << "  heart rate:  " << opt(f.hrBpm, "median RR") << ", " << opt(f.hrMeanBpm, "mean RR") << "\n";
  const std::size_t normal = f.normal.samples200Hz.size(), extra = f.extraSystoles.samples200Hz.size();
  out << "  beats:       " << normal + extra << " (" << normal << " normal, " << extra << " extra systoles)\n";
  out << "  quality:     " << f.good_windows() << " of " << f.windows.size() << " windows of "
      << f.options.windowSeconds << " s good";
  std::map<int32_t, std::size_t> errors;
  for (const StretchResult& st : f.stretches) errors[st.error] += 1;
  for (const auto& [code, count] : errors) {
    if (code == kAnalysisOk) continue;
    out << "; error " << code << " (" << error_meaning(code) << ")";
    if (f.stretches.size() > 1) out << " in " << count << " of " << f.stretches.size() << " stretches";
  }
  out << "\n";
  if (const auto& t = f.hrv.timeDomain) {
    out << "  HRV (time):  AVNN " << fixed((*t)[1] * 1000, 1) << " ms, SDNN " << fixed((*t)[2] * 1000, 1)
        << " ms, SDANN " << fixed((*t)[3] * 1000, 1) << " ms, SDNNIDX " << fixed((*t)[4] * 1000, 1) << " ms, RMSSD "
        << fixed((*t)[5] * 1000, 1) << " ms, pNN50 " << fixed((*t)[6] * 100, 1) << " %, NN/RR " << fixed((*t)[0], 3)
        << "\n";
  }
  if (const auto& p = f.hrv.frequencyDomain) {
    out << "  HRV (freq):  total " << fixed((*p)[0] * 1e6, 0) << " ms², ULF " << fixed((*p)[1] * 1e6, 0)
        << " ms², VLF " << fixed((*p)[2] * 1e6, 0) << " ms², LF " << fixed((*p)[3] * 1e6, 0) << " ms², HF "
        << fixed((*p)[4] * 1e6, 0) << " ms², LF/HF " << fixed((*p)[5], 2) << "\n";
  }
  if (!f.hrv.note.empty()) out << "  HRV:         " << f.hrv.note << "\n";
  for (const std::string& w : f.warnings) out << "  warning:     " << w << "\n";
  return out.str();
}

std::string summary_csv_header() {
  return "file,status,duration_s,stretches,hr_bpm,hr_mean_bpm,normal_beats,extra_systoles,good_windows,windows,"
         "sdnn_s,rmssd_s,lf_hf,message\n";
}

std::string summary_csv_line(const std::string& file, const RecordingAnalysis* f, const std::string& failure) {
  std::ostringstream out;
  out << csv_quote(file) << ',';
  if (f == nullptr) {
    out << "failed,,,,,,,,,,,," << csv_quote(failure) << '\n';
    return out.str();
  }
  auto opt = [](const std::optional<double>& v, int d) { return v ? fixed(*v, d) : std::string(); };
  const auto& t = f->hrv.timeDomain;
  const auto& p = f->hrv.frequencyDomain;
  out << "ok," << fixed(f->recording.durationSeconds(), 2) << ',' << f->stretches.size() << ',' << opt(f->hrBpm, 0)
      << ',' << opt(f->hrMeanBpm, 0) << ',' << f->normal.samples200Hz.size() << ','
      << f->extraSystoles.samples200Hz.size() << ',' << f->good_windows() << ',' << f->windows.size() << ','
      << (t ? fixed((*t)[2], 5) : "") << ',' << (t ? fixed((*t)[5], 5) : "") << ',' << (p ? fixed((*p)[5], 3) : "")
      << ',' << csv_quote(f->hrv.note) << '\n';
  return out.str();
}

void write_file_atomically(const std::filesystem::path& path, std::string_view content) {
  std::error_code ec;
  if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path(), ec);
  const std::filesystem::path temporary = path.string() + ".tmp-" + std::to_string(::getpid());
  {
    std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
    if (!out) throw std::runtime_error(path.string() + ": cannot write (folder missing or not writable?)");
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    if (!out) {
      std::filesystem::remove(temporary, ec);
      throw std::runtime_error(path.string() + ": write failed (disk full?)");
    }
  }
  std::filesystem::rename(temporary, path, ec);
  if (ec) {
    std::filesystem::remove(temporary, ec);
    throw std::runtime_error(path.string() + ": cannot rename the finished file into place");
  }
}

}  // namespace zyn::cli
