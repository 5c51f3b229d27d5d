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

Json named_values(const auto& names, const auto& values) {
  Json j = Json::object();
  for (std::size_t i = 0; i < names.size(); ++i) j[names[i]] = values[i];
  return j;
}

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

Json beat_results_json(const BeatAnalysis& a) {
  Json q = Json::array();
  for (const int32_t code : a.qualities) q.push_back(window_quality_meaning(code));
  return {{"error", a.error},
          {"errorMeaning", error_meaning(a.error)},
          {"hr", a.hr},
          {"hrMean", a.hrMean},
          {"beatArrayLength", a.beatArrayLength},
          {"qualityCount", a.qualityCount},
          {"rpeaks", a.rpeaks},
          {"extraSystoles", a.extraSystoles},
          {"qualities", a.qualities},
          {"qualityMeanings", q}};
}

Json beats_json(const FileAnalysis& f, bool extra) {
  Json at200 = Json::array(), file = Json::array(), seconds = Json::array();
  for (const Beat& b : f.beats().beats) {
    if (b.extra != extra) continue;
    at200.push_back(b.sample + f.startSample200);
    file.push_back(f.file_sample(b.sample));
    seconds.push_back(std::round(f.seconds(b.sample) * 1000.0) / 1000.0);
  }
  return {{"count", at200.size()}, {"samples200Hz", at200}, {"fileSamples", file}, {"seconds", seconds}};
}

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

Json stretches_json(const FileAnalysis& f, const WholeAnalysis& run) {
  Json stretches = Json::array();
  for (std::size_t k = 0; k < run.stretches.size(); ++k) {
    const StretchResult& s = run.stretches[k];
    Json j = {{"index", k},
              {"firstSample200Hz", s.plan.first + f.startSample200},
              {"samples200Hz", s.plan.count},
              {"startSeconds", f.seconds(s.plan.first)},
              {"endSeconds", f.seconds(s.plan.first + s.plan.count)},
              {"beatsTakenFromSeconds", f.seconds(s.ownedFrom)},
              {"beatsTakenToSeconds", f.seconds(s.ownedTo)}};
    if (s.qrs) j["qrs"] = beat_results_json(*s.qrs);
    if (s.hrv) {
      Json h = beat_results_json(*s.hrv);
      h["timeDomain"] = named_values(kTimeNames, s.hrv->timeDomain);
      h["frequencyDomain"] = named_values(kFreqNames, s.hrv->frequencyDomain);
      j["hrv"] = std::move(h);
    }
    stretches.push_back(std::move(j));
  }
  return stretches;
}

}  // namespace

nlohmann::ordered_json to_json(const FileAnalysis& f) {
  Json stretches = Json::object();
  if (f.qrs) stretches["qrs"] = stretches_json(f, *f.qrs);
  if (f.hrv) stretches["hrv"] = stretches_json(f, *f.hrv);
  Json windows = Json::array();
  for (const QualityWindow& w : f.beats().windows) {
    windows.push_back({{"startSeconds", f.seconds(w.first)},
                       {"endSeconds", f.seconds(w.first + w.count)},
                       {"code", w.code},
                       {"meaning", window_quality_meaning(w.code)}});
  }
  const WholeSummary& s = f.summary;
  Json summary = {{"method", s.method},
                  {"hrBpm", s.hr ? Json(*s.hr) : Json(nullptr)},
                  {"hrMeanBpm", s.hrMean ? Json(*s.hrMean) : Json(nullptr)},
                  {"normalBeats", s.normalBeats},
                  {"extraSystoles", s.extraSystoles},
                  {"qualityWindows", s.windows},
                  {"goodQualityWindows", s.goodWindows},
                  {"hrv", statistics_json(s.timeDomain ? &*s.timeDomain : nullptr,
                                          s.frequencyDomain ? &*s.frequencyDomain : nullptr)}};
  if (!s.hrvMethod.empty()) summary["hrvMethod"] = s.hrvMethod;
  if (!s.hrvNote.empty()) summary["hrvNote"] = s.hrvNote;
  summary["warnings"] = s.warnings;

  Json codes = {{"error", Json::object()}, {"windowQuality", Json::object()}};
  for (const int32_t c : {0, 1, 2, 3, 4, 5, 6, 7, 8}) codes["error"][std::to_string(c)] = error_meaning(c);
  for (const int32_t c : {0, 3, 5, 6, -1}) codes["windowQuality"][std::to_string(c)] = window_quality_meaning(c);

  return {{"file", f.recording.source},
          {"format", f.recording.format},
          {"signal", f.recording.signalName},
          {"units", f.recording.units},
          {"samplingRateHz", f.recording.fsHz},
          {"samples", f.recording.samples.size()},
          {"durationSeconds", f.recording.durationSeconds()},
          {"analysisRateHz", kAnalysisRateHz},
          {"mode", mode_name(f.options.mode)},
          {"startSeconds", f.options.startSeconds},
          {"qualityWindowSeconds", f.options.windowSeconds},
          {"fullScale", f.fullScale},
          {"fullScaleSource", f.fullScaleSource},
          {"summary", std::move(summary)},
          {"beats", {{"normal", beats_json(f, false)}, {"extraSystoles", beats_json(f, true)}}},
          {"qualityWindows", std::move(windows)},
          {"stretches", std::move(stretches)},
          {"notes",
           {{"stretches", "a recording longer than one library call allows is analysed in overlapping stretches; "
                          "each stretch's rpeaks/extraSystoles are 0-based 200 Hz indices within that stretch, "
                          "padded with -1, exactly as returned"},
            {"beats", "merged beats of all stretches: samples200Hz index the whole recording resampled to 200 Hz, "
                      "fileSamples the file's own samples, seconds from the start of the file"}}},
          {"codes", std::move(codes)}};
}

std::string human_summary(const FileAnalysis& f) {
  const WholeSummary& s = f.summary;
  std::ostringstream out;
  out << f.recording.source << " (" << f.recording.format << ", signal " << f.recording.signalName << ", "
      << fixed(f.recording.fsHz, 1) << " Hz, " << fixed(f.recording.durationSeconds(), 1) << " s";
  if (f.options.startSeconds > 0) out << ", analysed from " << f.options.startSeconds << " s";
  out << ")\n";
  if (f.beats().stretches.size() > 1 || (f.hrv && f.hrv->stretches.size() > 1)) {
    out << "  analysed in overlapping stretches (" << (f.qrs ? std::to_string(f.qrs->stretches.size()) + " for beats" : "")
        << (f.qrs && f.hrv ? ", " : "") << (f.hrv ? std::to_string(f.hrv->stretches.size()) + " for HRV" : "")
        << "); whole-recording values are length-weighted means of the stretches\n";
  }
  out << "  heart rate:  " << (s.hr ? fixed(*s.hr, 0) + " bpm (median RR)" : std::string("n/a")) << ", "
      << (s.hrMean ? fixed(*s.hrMean, 0) + " bpm (mean RR)" : std::string("n/a")) << "\n";
  out << "  beats:       " << s.normalBeats + s.extraSystoles << " (" << s.normalBeats << " normal, "
      << s.extraSystoles << " extra systoles)\n";
  out << "  quality:     " << s.goodWindows << " of " << s.windows << " windows of " << f.options.windowSeconds
      << " s good";
  std::map<int32_t, std::size_t> errors;
  for (const StretchResult& st : f.beats().stretches) errors[st.beats().error] += 1;
  for (const auto& [code, count] : errors) {
    if (code == kAnalysisOk) continue;
    out << "; error " << code << " (" << error_meaning(code) << ")";
    if (f.beats().stretches.size() > 1) out << " in " << count << " of " << f.beats().stretches.size() << " stretches";
  }
  out << "\n";
  if (s.timeDomain) {
    const auto& t = *s.timeDomain;
    out << "  HRV (time):  AVNN " << fixed(t[1] * 1000, 1) << " ms, SDNN " << fixed(t[2] * 1000, 1) << " ms, SDANN "
        << fixed(t[3] * 1000, 1) << " ms, SDNNIDX " << fixed(t[4] * 1000, 1) << " ms, RMSSD " << fixed(t[5] * 1000, 1)
        << " ms, pNN50 " << fixed(t[6] * 100, 1) << " %, NN/RR " << fixed(t[0], 3) << "\n";
  }
  if (s.frequencyDomain) {
    const auto& p = *s.frequencyDomain;
    out << "  HRV (freq):  total " << fixed(p[0] * 1e6, 0) << " ms², ULF " << fixed(p[1] * 1e6, 0) << " ms², VLF "
        << fixed(p[2] * 1e6, 0) << " ms², LF " << fixed(p[3] * 1e6, 0) << " ms², HF " << fixed(p[4] * 1e6, 0)
        << " ms², LF/HF " << fixed(p[5], 2) << "\n";
  }
  if (!s.hrvNote.empty()) out << "  HRV:         " << s.hrvNote << "\n";
  for (const std::string& w : s.warnings) out << "  warning:     " << w << "\n";
  return out.str();
}

std::string summary_csv_header() {
  return "file,status,duration_s,stretches,hr_bpm,hr_mean_bpm,normal_beats,extra_systoles,good_windows,windows,"
         "sdnn_s,rmssd_s,lf_hf,message\n";
}

std::string summary_csv_line(const std::string& file, const FileAnalysis* f, const std::string& failure) {
  std::ostringstream out;
  out << csv_quote(file) << ',';
  if (f == nullptr) {
    out << "failed,,,,,,,,,,,," << csv_quote(failure) << '\n';
    return out.str();
  }
  const WholeSummary& s = f->summary;
  auto opt = [](const std::optional<double>& v, int d) { return v ? fixed(*v, d) : std::string(); };
  out << "ok," << fixed(f->recording.durationSeconds(), 2) << ',' << f->beats().stretches.size() << ','
      << opt(s.hr, 0) << ',' << opt(s.hrMean, 0) << ',' << s.normalBeats << ',' << s.extraSystoles << ','
      << s.goodWindows << ',' << s.windows << ','
      << (s.timeDomain ? fixed((*s.timeDomain)[2], 5) : "") << ',' << (s.timeDomain ? fixed((*s.timeDomain)[5], 5) : "")
      << ',' << (s.frequencyDomain ? fixed((*s.frequencyDomain)[5], 3) : "") << ',' << csv_quote(s.hrvNote) << '\n';
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
