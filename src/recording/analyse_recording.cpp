// Whole-recording analysis: conversion to 200 Hz, stretches analysed through
// the caller's ParallelFor, merged beats and windows, the rhythm of the whole
// recording and the warnings a user should read. See analyse_recording.hpp.
#include "analyse_recording.hpp"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <mutex>
#include <sstream>
#include <thread>

#include "wfdb/error.hpp"
#include "wfdb/resample.hpp"

namespace zyn::recording {
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

double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void run_in_order(std::size_t count, const std::function<void(std::size_t)>& task) {
  for (std::size_t i = 0; i < count; ++i) task(i);
}

// Checks the options against the recording and cuts the 200 Hz signal at the
// start second (in place, so that one copy exists).
void check_and_cut(RecordingAnalysis& r, std::vector<double>& full200) {
  const AnalysisOptions& o = r.options;
  const std::string& path = r.recording.source;
  if (o.windowSeconds < 1) throw InputError(path, "the quality window must be at least 1 s");
  if (o.startSeconds < 0) throw InputError(path, "the start second must not be negative");
  r.startSample200 = int64_t{o.startSeconds} * 200;
  const auto total = static_cast<int64_t>(full200.size());
  const int64_t needed = min_recording_samples(o.mode);
  if (total - r.startSample200 < needed) {
    throw InputError(path, "too short: " + seconds_text(r.recording.durationSeconds()) + " recorded" +
                               (o.startSeconds > 0 ? ", analysis from " + seconds_text(o.startSeconds) : "") +
                               ", the " + (o.mode == Mode::Hrv ? "HRV analysis" : "beat detection") +
                               " needs at least " + seconds_text(static_cast<double>(needed) / 200.0));
  }
  full200.erase(full200.begin(), full200.begin() + r.startSample200);
  r.ecg200 = std::move(full200);
  if (o.fullScale) {
    r.fullScale = *o.fullScale;
    r.fullScaleSource = "option";
  } else if (r.recording.fullScale && *r.recording.fullScale > 0.0) {
    r.fullScale = *r.recording.fullScale;
    r.fullScaleSource = "header";
  } else {
    r.fullScale = kDefaultFullScaleMillivolts;
    r.fullScaleSource = "default";
  }
  if (!(r.fullScale > 0.0)) throw InputError(path, "the full scale must be positive");
}

// Stretches of every run of finite samples; a run too short for one call
// stands as a stretch refused for its NaN neighbours.
std::vector<StretchResult> planned_stretches(RecordingAnalysis& r) {
  std::vector<StretchResult> out;
  const auto runs = finite_runs(r.ecg200);
  int64_t covered = 0;
  for (const StretchPlan& run : runs) {
    if (run.first > covered) r.nanGaps.push_back({r.seconds(covered), r.seconds(run.first)});
    covered = run.first + run.count;
    if (run.count < kQrsMinSamples) {
      StretchResult s;
      s.plan = run;
      s.error = kNotANumber;
      out.push_back(std::move(s));
      continue;
    }
    // A run that fits one call of the HRV analysis is one stretch, so that
    // its beats (and HRV) are exactly those of that call.
    const bool oneHrvCall = r.options.mode != Mode::Qrs && run.count <= kHrvMaxSamples;
    const int64_t maxSamples = oneHrvCall ? run.count : max_stretch_samples();
    for (StretchPlan p : plan_stretches(run.count, maxSamples, r.options.windowSeconds)) {
      p.first += run.first;
      StretchResult s;
      s.plan = p;
      out.push_back(std::move(s));
    }
  }
  const auto n = static_cast<int64_t>(r.ecg200.size());
  if (covered < n) r.nanGaps.push_back({r.seconds(covered), r.seconds(n)});
  if (std::none_of(out.begin(), out.end(), [](const StretchResult& s) { return s.error != kNotANumber; })) {
    throw InputError(r.recording.source, "no stretch of " + seconds_text(kQrsMinSamples / 200.0) +
                                             " or more without samples that are not numbers (NaN)");
  }
  return out;
}

void analyse_stretches(RecordingAnalysis& r, const ParallelFor& parallel, const Progress& progress) {
  const std::size_t count = r.stretches.size();
  std::atomic<std::size_t> done{0};
  std::mutex progressMutex;
  if (progress) progress(0, count);
  (parallel ? parallel : ParallelFor(run_in_order))(count, [&](std::size_t i) {
    StretchResult& s = r.stretches[i];
    if (s.error != kNotANumber) s = analyse_stretch(r.ecg200, s.plan, r.options.windowSeconds, r.fullScale);
    const std::size_t finished = ++done;
    if (progress) {
      const std::lock_guard lock(progressMutex);
      progress(finished, count);
    }
  });
}

void fill_positions(RecordingAnalysis& r) {
  for (const Beat& b : r.beats) {
    BeatPositions& p = b.extra ? r.extraSystoles : r.normal;
    p.samples200Hz.push_back(b.sample + r.startSample200);
    p.fileSamples.push_back(r.file_sample(b.sample));
    p.seconds.push_back(std::round(r.seconds(b.sample) * 1000.0) / 1000.0);
  }
}

int32_t whole_error(const RecordingAnalysis& r, int32_t rhythmError) {
  if (rhythmError != kAnalysisOk) return rhythmError;
  const auto any = [&](int32_t code) {
    return std::any_of(r.stretches.begin(), r.stretches.end(), [code](const StretchResult& s) { return s.error == code; });
  };
  if (any(kSaturated)) return kSaturated;
  if (any(kIrregular)) return kIrregular;
  return kAnalysisOk;
}

void add_warnings(RecordingAnalysis& r) {
  double largest = 0.0;
  for (const double v : r.ecg200)
    if (std::abs(v) > largest) largest = std::abs(v);  // NaN compares false and is skipped
  if (largest > kSaturationShareOfFullScale * r.fullScale) {
    r.warnings.push_back("samples reach " + general(largest) + " " + r.recording.units +
                         ", beyond 97% of the full scale " + general(r.fullScale) + " (" + r.fullScaleSource +
                         "): the signal counts as saturated" +
                         (r.fullScaleSource == "default" ? "; are the values in mV? give --full-scale" : ""));
  }
  std::size_t refused = 0;
  for (const StretchResult& s : r.stretches) refused += has_beats(s.error) || s.error == kNotANumber ? 0 : 1;
  if (refused > 0) {
    r.warnings.push_back(std::to_string(refused) + " of " + std::to_string(r.stretches.size()) +
                         " stretches gave no beats: " + error_meaning(kNoPlausibleRhythm));
  }
  if (!r.nanGaps.empty()) {
    double seconds = 0.0;
    for (const NaNGap& g : r.nanGaps) seconds += g.endSeconds - g.startSeconds;
    r.warnings.push_back(std::to_string(r.nanGaps.size()) + " runs of samples that are not numbers (NaN), " +
                         seconds_text(seconds) + " in all, first at " + seconds_text(r.nanGaps.front().startSeconds) +
                         ": not analysed, and left out of the HRV with the intervals across them");
  }
}

// Everything after the 200 Hz signal exists.
RecordingAnalysis analyse_at_analysis_rate(RecordingInfo info, std::vector<double> full200,
                                           const AnalysisOptions& options, const Progress& progress) {
  RecordingAnalysis r;
  r.recording = std::move(info);
  r.options = options;
  r.options.parallel = nullptr;
  check_and_cut(r, full200);
  r.stretches = planned_stretches(r);
  auto start = std::chrono::steady_clock::now();
  analyse_stretches(r, options.parallel, progress);
  r.timings.stretches = seconds_since(start);
  start = std::chrono::steady_clock::now();
  for (StretchResult& s : r.stretches) {
    s.startSeconds = r.seconds(s.plan.first);
    s.endSeconds = r.seconds(s.plan.first + s.plan.count);
  }
  r.beats = merge_beats(r.stretches);
  r.windows = merge_windows(r.stretches, options.windowSeconds);
  for (QualityWindow& w : r.windows) {
    w.startSeconds = r.seconds(w.first);
    w.endSeconds = r.seconds(w.first + w.count);
  }
  fill_positions(r);
  std::vector<StretchPlan> gaps;
  for (const NaNGap& g : r.nanGaps) {
    const auto first = static_cast<int64_t>(std::llround(g.startSeconds * kAnalysisRateHz)) - r.startSample200;
    gaps.push_back({first, static_cast<int64_t>(std::llround(g.endSeconds * kAnalysisRateHz)) - r.startSample200 - first});
  }
  WholeRhythm rhythm = whole_rhythm(r.beats, options.mode != Mode::Qrs, static_cast<int64_t>(r.ecg200.size()),
                                    r.seconds(0), gaps);
  r.error = whole_error(r, rhythm.error);
  r.hrBpm = rhythm.hrBpm;
  r.hrMeanBpm = rhythm.hrMeanBpm;
  r.hrv = std::move(rhythm.hrv);
  r.rrSeries = std::move(rhythm.rrSeries);
  r.spectrum = std::move(rhythm.spectrum);
  r.segments = std::move(rhythm.segments);
  add_warnings(r);
  r.timings.mergeAndHrv = seconds_since(start);
  return r;
}

std::vector<double> samples_at_analysis_rate(std::span<const double> samples, const RecordingInfo& info) {
  try {
    return wfdb::resample(samples, info.fsHz, kAnalysisRateHz);
  } catch (const wfdb::Error& e) {
    throw InputError(info.source, e.what());
  }
}

}  // namespace

std::size_t RecordingAnalysis::good_windows() const {
  return static_cast<std::size_t>(std::count_if(windows.begin(), windows.end(), [](const QualityWindow& w) { return w.code == 0; }));
}

int64_t RecordingAnalysis::file_sample(int64_t analysed200) const {
  return static_cast<int64_t>(
      std::llround(static_cast<double>(analysed200 + startSample200) * recording.fsHz / kAnalysisRateHz));
}

double RecordingAnalysis::seconds(int64_t analysed200) const {
  return static_cast<double>(analysed200 + startSample200) / kAnalysisRateHz;
}

RecordingAnalysis analyse_samples(std::span<const double> samples, const RecordingInfo& info,
                                  const AnalysisOptions& options, const Progress& progress) {
  RecordingInfo described = info;
  described.sampleCount = static_cast<int64_t>(samples.size());
  check_rate_and_length(described);
  return analyse_at_analysis_rate(std::move(described), samples_at_analysis_rate(samples, info), options, progress);
}

namespace {

// Converts the samples to 200 Hz as the reader hands them over.
class ResamplingSink : public SampleSink {
 public:
  void begin(const RecordingInfo& info) override {
    try {
      resampler_.emplace(info.fsHz, kAnalysisRateHz);
    } catch (const wfdb::Error& e) {
      throw InputError(info.source, e.what());
    }
    const double expected = static_cast<double>(info.sampleCount) * kAnalysisRateHz / info.fsHz;
    at200.reserve(static_cast<std::size_t>(std::ceil(expected)) + 1);
  }
  void append(std::span<const double> chunk) override { resampler_->push(chunk, at200); }
  void finish() { resampler_->finish(at200); }

  std::vector<double> at200;

 private:
  std::optional<wfdb::Resampler> resampler_;
};

}  // namespace

RecordingAnalysis analyse_file(const std::string& path, const FileOptions& options, const Progress& progress) {
  const auto start = std::chrono::steady_clock::now();
  ResamplingSink sink;
  RecordingInfo info = read_recording_chunks(path, options.read, sink);
  sink.finish();
  const double reading = seconds_since(start);
  RecordingAnalysis r = analyse_at_analysis_rate(std::move(info), std::move(sink.at200), options, progress);
  r.timings.readAndResample = reading;
  return r;
}

ParallelFor parallel_on_threads(unsigned threads) {
  return [threads](std::size_t count, const std::function<void(std::size_t)>& task) {
    std::atomic<std::size_t> next{0};
    auto work = [&] {
      for (std::size_t i = next++; i < count; i = next++) task(i);
    };
    const auto helpers = static_cast<std::size_t>(std::max(threads, 1U)) - 1;
    std::vector<std::thread> pool;
    for (std::size_t t = 0; t < std::min(helpers, count); ++t) pool.emplace_back(work);
    work();
    for (std::thread& t : pool) t.join();
  };
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
    case kNotANumber: return "the recording holds samples that are not numbers";
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

}  // namespace zyn::recording
