// Evaluation of one annotated record (see evaluate.hpp).
#include "eval/evaluate.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <fstream>
#include <regex>

#include "beats/detect_waves.hpp"
#include "wfdb/annotations.hpp"
#include "wfdb/error.hpp"
#include "wfdb/resample.hpp"
#include "wfdb/signals.hpp"

namespace zyn::eval {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int32_t kAnalysisRate = static_cast<int32_t>(wfdb::kAnalysisRateHz);

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// "24 dB" from a noise stress header comment "... (SNR = 24 dB)", else "".
std::string noise_level_of(const wfdb::Header& header) {
  static const std::regex kSnr(R"(SNR\s*=\s*(-?\d+(\.\d+)?)\s*dB)");
  for (const std::string& comment : header.comments) {
    std::smatch m;
    if (std::regex_search(comment, m, kSnr)) return m[1].str() + " dB";
  }
  return "";
}

// Reference beats as times, with their annotation symbols alongside.
std::vector<ReferenceBeat> reference_beats(const std::vector<wfdb::Annotation>& annotations,
                                           double samplingHz, std::vector<std::string>& symbols) {
  std::vector<ReferenceBeat> beats;
  for (const wfdb::Annotation& a : annotations) {
    if (!wfdb::is_beat(a.code)) continue;
    beats.push_back({static_cast<double>(a.sample) / samplingHz, group_of(a.code)});
    symbols.emplace_back(wfdb::annotation_symbol(a.code));
  }
  return beats;
}

// Both beat lists of the detection as times, merged in time order. Positions
// are 1-based sample indices at the analysis rate.
std::vector<DetectedBeat> detected_beats(const WaveDetection& detection) {
  std::vector<DetectedBeat> beats;
  const auto add = [&beats](const std::vector<int32_t>& positions, bool extra) {
    for (int32_t p : positions)
      beats.push_back({static_cast<double>(p - 1) / wfdb::kAnalysisRateHz, extra});
  };
  add(detection.normalPeaks, false);
  add(detection.extraPeaks, true);
  std::stable_sort(beats.begin(), beats.end(), [](const DetectedBeat& a, const DetectedBeat& b) {
    return a.seconds < b.seconds;
  });
  return beats;
}

// Signed distance in ms from t to the nearest of the sorted times, NaN when empty.
template <class Beat>
double nearest_ms(const std::vector<Beat>& beats, double t) {
  const auto after = std::lower_bound(beats.begin(), beats.end(), t,
                                      [](const Beat& b, double value) { return b.seconds < value; });
  double best = std::numeric_limits<double>::quiet_NaN();
  if (after != beats.end()) best = after->seconds - t;
  if (after != beats.begin()) {
    const double before = std::prev(after)->seconds - t;
    if (std::isnan(best) || -before < best) best = before;
  }
  return 1000.0 * best;
}

// The annotators' context at each error: rhythm in force, whether the lead
// was marked noisy ('~' with the lead's bit set in its subtype, or -1 for
// all), and whether a ventricular flutter episode ('[' ... ']' or rhythm
// "(VFL") was running.
void add_context(std::vector<ErrorEvent>& errors, const std::vector<wfdb::Annotation>& annotations,
                 double samplingHz, std::size_t lead) {
  constexpr int kNoiseCode = 14;
  constexpr int kRhythmCode = 28;
  constexpr int kFlutterStartCode = 32;
  constexpr int kFlutterEndCode = 33;
  std::sort(errors.begin(), errors.end(),
            [](const ErrorEvent& a, const ErrorEvent& b) { return a.seconds < b.seconds; });
  std::string rhythm;
  bool noisy = false;
  bool flutterMarks = false;
  std::size_t next = 0;
  for (ErrorEvent& e : errors) {
    for (; next < annotations.size() &&
           static_cast<double>(annotations[next].sample) / samplingHz <= e.seconds;
         ++next) {
      const wfdb::Annotation& a = annotations[next];
      if (a.code == kRhythmCode) rhythm = a.aux;
      else if (a.code == kNoiseCode) noisy = a.subtype == -1 || ((a.subtype >> lead) & 1) != 0;
      else if (a.code == kFlutterStartCode) flutterMarks = true;
      else if (a.code == kFlutterEndCode) flutterMarks = false;
    }
    e.rhythm = rhythm;
    e.noisy = noisy;
    e.flutter = flutterMarks || rhythm == "(VFL";
  }
}

std::vector<ErrorEvent> describe_errors(const std::vector<Mismatch>& mismatches,
                                        const std::vector<wfdb::Annotation>& annotations,
                                        const std::vector<ReferenceBeat>& reference,
                                        const std::vector<DetectedBeat>& detected,
                                        const std::vector<std::string>& referenceSymbols,
                                        double samplingHz, std::size_t lead) {
  std::vector<ErrorEvent> errors;
  for (const Mismatch& m : mismatches) {
    ErrorEvent e;
    e.falsePositive = m.falsePositive;
    if (m.falsePositive) {
      e.seconds = detected[m.index].seconds;
      e.label = detected[m.index].extra ? "extra" : "normal";
      e.nearestMs = nearest_ms(reference, e.seconds);
    } else {
      e.seconds = reference[m.index].seconds;
      e.label = referenceSymbols[m.index];
      e.nearestMs = nearest_ms(detected, e.seconds);
    }
    errors.push_back(std::move(e));
  }
  add_context(errors, annotations, samplingHz, lead);
  return errors;
}

}  // namespace

std::vector<std::string> records_of(const fs::path& folder, const std::string& annotator) {
  std::vector<std::string> names;
  if (std::ifstream list(folder / "RECORDS"); list) {
    for (std::string line; std::getline(list, line);) {
      while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.pop_back();
      if (!line.empty()) names.push_back(line);
    }
  } else {
    if (!fs::is_directory(folder)) throw wfdb::Error(folder.string(), "not a folder");
    for (const fs::directory_entry& e : fs::directory_iterator(folder))
      if (e.path().extension() == ".hea") names.push_back(e.path().stem().string());
    std::sort(names.begin(), names.end());
  }
  std::erase_if(names, [&](const std::string& n) {
    return !fs::exists(folder / (n + "." + annotator));
  });
  return names;
}

RecordResult evaluate_record(const fs::path& folder, const std::string& name,
                             const EvaluationSettings& settings) {
  RecordResult result;
  result.record = name;
  const Clock::time_point loadStart = Clock::now();
  const wfdb::Record record = wfdb::read_record(folder, name);
  if (record.header.signals.empty())
    throw wfdb::Error((folder / (name + ".hea")).string(), "record has no signals");
  const std::size_t lead = wfdb::find_signal(record.header, settings.preferredSignal).value_or(0);
  const wfdb::SignalSpec& spec = record.header.signals[lead];
  result.signal = spec.description.empty() ? "signal " + std::to_string(lead) : spec.description;
  result.noiseLevel = noise_level_of(record.header);
  const std::vector<double> ecg = wfdb::analysis_signal(record, lead);
  const std::vector<wfdb::Annotation> annotations =
      wfdb::read_annotations(folder / (name + "." + settings.annotator));
  result.loadSeconds = seconds_since(loadStart);

  const Clock::time_point detectStart = Clock::now();
  const WaveDetection detection =
      detect_waves(ecg, kAnalysisRate, settings.qualityWindowSeconds, wfdb::full_scale(spec));
  result.detectSeconds = seconds_since(detectStart);

  const ScoringInterval interval{settings.skipStartSeconds,
                                 record.header.durationSeconds() - settings.skipEndSeconds};
  const double samplingHz = record.header.samplingFrequency;
  std::vector<std::string> symbols;
  const std::vector<ReferenceBeat> reference = reference_beats(annotations, samplingHz, symbols);
  const std::vector<DetectedBeat> detected = detected_beats(detection);
  std::vector<Mismatch> mismatches;
  result.score = score_beats(reference, detected, interval, kMatchWindowSeconds, &mismatches);
  result.errors =
      describe_errors(mismatches, annotations, reference, detected, symbols, samplingHz, lead);
  result.overallQuality = detection.overallQuality;
  result.shortRrFlag = detection.shortRrFlag;
  result.windows = detection.windowQuality.size();
  result.goodWindows = static_cast<std::size_t>(
      std::count(detection.windowQuality.begin(), detection.windowQuality.end(), 0));
  result.normalPeaks = detection.normalPeaks.size();
  result.extraPeaks = detection.extraPeaks.size();
  return result;
}

}  // namespace zyn::eval
