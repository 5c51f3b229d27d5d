// Evaluation of one annotated record (see evaluate.hpp).
#include "eval/evaluate.hpp"

#include <algorithm>
#include <chrono>
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

std::vector<ReferenceBeat> reference_beats(const std::vector<wfdb::Annotation>& annotations,
                                           double samplingHz) {
  std::vector<ReferenceBeat> beats;
  for (const wfdb::Annotation& a : annotations)
    if (wfdb::is_beat(a.code))
      beats.push_back({static_cast<double>(a.sample) / samplingHz, group_of(a.code)});
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
  result.score = score_beats(reference_beats(annotations, record.header.samplingFrequency),
                             detected_beats(detection), interval);
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
