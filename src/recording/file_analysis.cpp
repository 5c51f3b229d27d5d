// Reading, analysis and summing up of one file. See file_analysis.hpp.
#include "file_analysis.hpp"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace zyn::cli {
namespace {

// The library rates a stretch saturated above this share of the full scale.
constexpr double kSaturationShareOfFullScale = 0.97;

std::string seconds_text(double s) {
  std::ostringstream out;
  out.precision(1);
  out << std::fixed << s << " s";
  return out.str();
}

std::string general(double v) {
  std::ostringstream out;
  out << v;
  return out.str();
}

double owned_weight(const StretchResult& s) { return static_cast<double>(s.ownedTo - s.ownedFrom); }

template <std::size_t N>
std::optional<std::array<double, N>> weighted_mean(const std::vector<std::pair<double, std::array<double, N>>>& values) {
  if (values.empty()) return std::nullopt;
  if (values.size() == 1) return values.front().second;  // exactly the library's values
  std::array<double, N> sum{};
  double weights = 0.0;
  for (const auto& [w, v] : values) {
    for (std::size_t i = 0; i < N; ++i) sum[i] += w * v[i];
    weights += w;
  }
  for (double& x : sum) x /= weights;
  return sum;
}

WholeSummary summarise(const FileAnalysis& f) {
  WholeSummary s;
  auto method = [](std::size_t n) {
    return n == 1 ? std::string("values of the single analysed stretch, as the library returned them")
                  : "mean of the " + std::to_string(n) +
                        " stretches' values, weighted by the length of signal each stretch contributes";
  };
  s.method = method(f.beats().stretches.size());
  if (f.hrv) s.hrvMethod = method(f.hrv->stretches.size());
  std::vector<std::pair<double, std::array<double, 2>>> rates;
  std::vector<std::pair<double, std::array<double, 7>>> time;
  std::vector<std::pair<double, std::array<double, 6>>> freq;
  for (const StretchResult& st : f.beats().stretches) {
    const BeatAnalysis& a = st.beats();
    if (has_beats(a.error)) rates.push_back({owned_weight(st), {a.hr, a.hrMean}});
  }
  if (f.hrv) {
    for (const StretchResult& st : f.hrv->stretches) {
      const int32_t e = st.hrv->error;
      if (e == kAnalysisOk || e == kSaturated || e == kIrregular || e == kNoSpectrum)
        time.push_back({owned_weight(st), st.hrv->timeDomain});
      if (e == kAnalysisOk || e == kSaturated || e == kIrregular)
        freq.push_back({owned_weight(st), st.hrv->frequencyDomain});
    }
  }
  if (const auto r = weighted_mean(rates)) {
    s.hr = (*r)[0];
    s.hrMean = (*r)[1];
  }
  s.timeDomain = weighted_mean(time);
  s.frequencyDomain = weighted_mean(freq);
  if (f.options.mode == Mode::Qrs) {
    s.hrvNote = "not requested (--mode qrs)";
  } else if (!s.timeDomain) {
    s.hrvNote = "no stretch gave HRV statistics";
    if (f.hrv)
      for (const StretchResult& st : f.hrv->stretches)
        if (st.hrv->error != kAnalysisOk) s.hrvNote = error_meaning(st.hrv->error);
  } else if (!s.frequencyDomain) {
    s.hrvNote = "no stretch gave a spectrum";
  }
  for (const Beat& b : f.beats().beats) (b.extra ? s.extraSystoles : s.normalBeats) += 1;
  for (const QualityWindow& w : f.beats().windows) {
    ++s.windows;
    if (w.code == 0) ++s.goodWindows;
  }
  return s;
}

}  // namespace

int64_t FileAnalysis::file_sample(int64_t analysed200) const {
  return static_cast<int64_t>(
      std::llround(static_cast<double>(analysed200 + startSample200) * recording.fsHz / kAnalysisRateHz));
}

double FileAnalysis::seconds(int64_t analysed200) const {
  return static_cast<double>(analysed200 + startSample200) / kAnalysisRateHz;
}

FileAnalysis analyse_file(const std::string& path, const FileOptions& options, const Progress& progress) {
  FileAnalysis f;
  f.options = options;
  f.recording = read_recording(path, options.read);
  if (options.windowSeconds < 1) throw InputError(path, "the quality window must be at least 1 s");
  std::vector<double> full = at_analysis_rate(f.recording);
  const int64_t total = static_cast<int64_t>(full.size());
  if (options.startSeconds < 0) throw InputError(path, "the start second must not be negative");
  f.startSample200 = int64_t{options.startSeconds} * 200;
  const int64_t needed = min_recording_samples(options.mode);
  if (total - f.startSample200 < needed) {
    throw InputError(path, "too short: " + seconds_text(f.recording.durationSeconds()) + " recorded" +
                               (options.startSeconds > 0 ? ", analysis from " + seconds_text(options.startSeconds) : "") +
                               ", the " + (options.mode == Mode::Hrv ? "HRV analysis" : "beat detection") +
                               " needs at least " + seconds_text(static_cast<double>(needed) / 200.0));
  }
  f.ecg200.assign(full.begin() + f.startSample200, full.end());
  if (options.fullScale) {
    f.fullScale = *options.fullScale;
    f.fullScaleSource = "option";
  } else if (f.recording.fullScale && *f.recording.fullScale > 0.0) {
    f.fullScale = *f.recording.fullScale;
    f.fullScaleSource = "header";
  } else {
    f.fullScale = kDefaultFullScaleMillivolts;
    f.fullScaleSource = "default";
  }
  if (!(f.fullScale > 0.0)) throw InputError(path, "the full scale must be positive");

  AnalysisOptions a;
  a.windowSeconds = options.windowSeconds;
  a.fullScale = f.fullScale;
  // Progress counts the stretches of both runs together.
  const auto n = static_cast<int64_t>(f.ecg200.size());
  const std::size_t qrsStretches =
      options.mode == Mode::Hrv ? 0 : plan_stretches(n, kQrsMaxSamples, options.windowSeconds).size();
  const std::size_t hrvStretches =
      options.mode == Mode::Qrs ? 0 : plan_stretches(n, kHrvMaxSamples, options.windowSeconds).size();
  auto shifted = [&](std::size_t offset) -> Progress {
    if (!progress) return {};
    return [&progress, offset, total = qrsStretches + hrvStretches](std::size_t done, std::size_t) {
      progress(offset + done, total);
    };
  };
  if (options.mode != Mode::Hrv) {
    a.mode = Mode::Qrs;
    f.qrs = analyse_in_stretches(f.ecg200, a, shifted(0));
  }
  // In mode "both" a recording too short for HRV (under 180 s) still gets
  // beat detection; the HRV results then say why they are missing.
  if (options.mode != Mode::Qrs) {
    a.mode = Mode::Hrv;
    f.hrv = analyse_in_stretches(f.ecg200, a, shifted(qrsStretches));
  }
  f.summary = summarise(f);
  const double largest = std::abs(*std::max_element(f.ecg200.begin(), f.ecg200.end(),
                                                    [](double x, double y) { return std::abs(x) < std::abs(y); }));
  if (largest > kSaturationShareOfFullScale * f.fullScale) {
    f.summary.warnings.push_back("samples reach " + general(largest) + " " + f.recording.units +
                                 ", beyond 97% of the full scale " + general(f.fullScale) + " (" +
                                 f.fullScaleSource + "): the signal counts as saturated" +
                                 (f.fullScaleSource == "default" ? "; are the values in mV? give --full-scale" : ""));
  }
  return f;
}

std::string error_meaning(int32_t code) {
  switch (code) {
    case kAnalysisOk: return "success";
    case kNoRecording: return "no recording given";
    case kBadLengthOrRate: return "recording length outside the accepted range, or sampling rate not 200 Hz";
    case kNoPlausibleRhythm: return "fewer than two R peaks, heart rate outside 30..220 bpm, or RR intervals implausibly short";
    case kNoSpectrum: return "HRV: no spectral point at or below 0.4 Hz, frequency-domain values are 0";
    case kSaturated: return "success, but the signal is saturated (exceeds 97% of full scale)";
    case kIrregular: return "success, but the rhythm is irregular";
    case kBadStartOrFullScale: return "start second too late or negative, or full scale not positive";
    case kTooFewBeatsForHrv: return "five or fewer R peaks: no HRV statistics";
    default: return "unknown code";
  }
}

std::string window_quality_meaning(int32_t code) {
  switch (code) {
    case 0: return "good";
    case 3: return "fewer than two beats";
    case 5: return "saturated";
    case 6: return "irregular rhythm";
    case -1: return "not rated";
    default: return "unknown code";
  }
}

}  // namespace zyn::cli
