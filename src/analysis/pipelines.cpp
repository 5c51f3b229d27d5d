// QRS and HRV analyses of one recording at 200 Hz: validation, wave detection
// on the stretch that starts at startSeconds, the two heart rates and their
// plausibility limits (30 to 220 beats per minute), the HRV statistics, and
// the mapping of 1-based stretch positions to 0-based recording indices with
// -1 padding.
#include "analysis/pipelines.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "beats/detect_waves.hpp"
#include "hrv/hrv.hpp"
#include "zynecgsolver/hrv.h"

namespace zyn {
namespace {

constexpr int32_t kRequiredRateHz = 200;
constexpr int32_t kMinimumWindowSecondsToSplit = 5;
constexpr int32_t kSecondsKeptAfterStart = 5;  // the stretch must hold more than this
constexpr double kLowestHeartRateBpm = 30.0;
constexpr double kHighestHeartRateBpm = 220.0;
constexpr int32_t kMinimumRrIntervalsForHrv = 5;

// What differs between the two analyses.
struct EntryLimits {
  int32_t minSamples;
  int32_t maxSamples;
  int32_t beatArrayPadding;    // beat arrays hold 3 beats a second plus this
  int32_t defaultLengthBase;   // default beat array length is 3 * (this div fs) + padding
};
constexpr EntryLimits kQrsLimits{kQrsMinSamples, kQrsMaxSamples, 55, 3000};
constexpr EntryLimits kHrvLimits{kHrvMinSamples, kHrvMaxSamples, 200, 36000};

int32_t clamp_to_int32(int64_t v) {
  return static_cast<int32_t>(std::clamp<int64_t>(v, 0, std::numeric_limits<int32_t>::max()));
}

// Number of quality windows the caller is given: whole windows of the
// stretch when at least one fits and windows are 5 s or longer, else one.
int32_t quality_count(int64_t recordingSamples, int32_t startSeconds, int32_t windowSeconds) {
  const int64_t stretch = std::clamp<int64_t>(
      recordingSamples - int64_t{kRequiredRateHz} * startSeconds, 0, recordingSamples);
  const int64_t seconds = stretch / kRequiredRateHz;
  if (seconds >= windowSeconds && windowSeconds >= kMinimumWindowSecondsToSplit) {
    return clamp_to_int32(seconds / windowSeconds);
  }
  return 1;
}

// Length of the beat arrays on the error path. The rate is only known to be
// wrong there; a rate of zero or below gives the bare padding instead of a
// division by zero or a negative length.
int32_t default_beat_array_length(const EntryLimits& limits, int32_t fs) {
  const int32_t perRate = fs > 0 ? limits.defaultLengthBase / fs : 0;
  return 3 * perRate + limits.beatArrayPadding;
}

// Validates the request in the documented order; returns the error code or 0.
// Samples before startSeconds are not analysed and may hold anything.
int32_t validate(const AnalysisRequest& r, const EntryLimits& limits) {
  if (!r.ecg) return kNoRecording;
  if (r.fs == 0) return kBadLengthOrRate;
  const auto n = static_cast<int64_t>(r.ecg->size());
  if (r.startSeconds < 0 || r.startSeconds >= n / kRequiredRateHz - kSecondsKeptAfterStart) {
    return kBadStartOrFullScale;
  }
  if (!(r.fullScale > 0.0)) return kBadStartOrFullScale;
  if (n < limits.minSamples || n > limits.maxSamples) return kBadLengthOrRate;
  if (r.fs != kRequiredRateHz) return kBadLengthOrRate;
  // Detection reads a NaN as the end of the signal and silently drops every
  // beat after it; a stretch holding one is refused instead. Infinite samples
  // are left to the saturation rating.
  const auto stretch = r.ecg->subspan(static_cast<std::size_t>(r.startSeconds) * kRequiredRateHz);
  if (std::any_of(stretch.begin(), stretch.end(), [](double v) { return std::isnan(v); })) {
    return kNotANumber;
  }
  return kAnalysisOk;
}

// Writes 1-based stretch positions as 0-based recording indices into a
// -1-padded array; the array grows rather than drop a beat.
std::vector<int32_t> to_recording_indices(const std::vector<int32_t>& positions,
                                          int32_t startSeconds, int32_t length) {
  std::vector<int32_t> out(std::max<std::size_t>(static_cast<std::size_t>(length), positions.size()), -1);
  const int32_t offset = kRequiredRateHz * startSeconds - 1;
  std::transform(positions.begin(), positions.end(), out.begin(),
                 [offset](int32_t p) { return p + offset; });
  return out;
}

void fill_default_arrays(BeatAnalysis& a, const AnalysisRequest& r, const EntryLimits& limits) {
  a.hr = 0.0;
  a.hrMean = 0.0;
  a.beatArrayLength = default_beat_array_length(limits, r.fs);
  a.rpeaks.assign(static_cast<std::size_t>(a.beatArrayLength), -1);
  a.extraSystoles.assign(static_cast<std::size_t>(a.beatArrayLength), -1);
  a.qualities.assign(static_cast<std::size_t>(a.qualityCount), -1);
}

// Runs detection on the stretch and the two heart rates. Returns the error
// code so far (0 or 3) and leaves the detection in `waves`.
int32_t detect_and_rate(const AnalysisRequest& r, BeatAnalysis& a, WaveDetection& waves,
                        int32_t& detectionStatus) {
  const std::span<const double> recording = *r.ecg;
  const auto start = static_cast<std::size_t>(kRequiredRateHz) * static_cast<std::size_t>(r.startSeconds);
  toCompile_initialize();
  waves = detect_waves(recording.subspan(start), kRequiredRateHz, r.qualityWindowSeconds, r.fullScale);
  detectionStatus = waves.overallQuality;
  const auto k = static_cast<int32_t>(waves.normalPeaks.size());
  if (k <= 1) return kNoPlausibleRhythm;

  calcHRvar_initialize();
  a.hr = heart_rate_from_median_rr(waves.normalPeaks, k, kRequiredRateHz);
  calcHRvar_terminate();
  a.hrMean = heart_rate_from_trimmed_mean(waves.normalPeaks, k, waves.extraPeaks,
                                          static_cast<int32_t>(waves.extraPeaks.size()),
                                          kRequiredRateHz);
  if (a.hr < kLowestHeartRateBpm || a.hr > kHighestHeartRateBpm || waves.shortRrFlag == 1) {
    return kNoPlausibleRhythm;
  }
  return kAnalysisOk;
}

int32_t error_for_detection_status(int32_t error, int32_t detectionStatus) {
  if (error != kAnalysisOk) return error;
  if (detectionStatus == 2) return kSaturated;
  if (detectionStatus == 3) return kIrregular;
  return kAnalysisOk;
}

// Beat arrays hold three beats a second of the recording plus the padding
// (more when more beats were found); qualities hold the window codes.
void fill_detected_arrays(BeatAnalysis& a, const AnalysisRequest& r, const WaveDetection& waves,
                          const EntryLimits& limits) {
  const int32_t length = 3 * static_cast<int32_t>(r.ecg->size() / kRequiredRateHz) + limits.beatArrayPadding;
  a.rpeaks = to_recording_indices(waves.normalPeaks, r.startSeconds, length);
  a.extraSystoles = to_recording_indices(waves.extraPeaks, r.startSeconds, length);
  a.beatArrayLength = static_cast<int32_t>(std::max(a.rpeaks.size(), a.extraSystoles.size()));
  a.rpeaks.resize(static_cast<std::size_t>(a.beatArrayLength), -1);
  a.extraSystoles.resize(static_cast<std::size_t>(a.beatArrayLength), -1);
  a.qualities.assign(static_cast<std::size_t>(a.qualityCount), -1);
  const auto copied = std::min(a.qualities.size(), waves.windowQuality.size());
  std::copy_n(waves.windowQuality.begin(), copied, a.qualities.begin());
}

template <class Analysis>
Analysis begin_analysis(const AnalysisRequest& r, const EntryLimits& limits) {
  Analysis a;
  a.qualityCount = r.ecg ? quality_count(static_cast<int64_t>(r.ecg->size()), r.startSeconds,
                                         r.qualityWindowSeconds)
                         : 0;
  a.error = validate(r, limits);
  return a;
}

// The sequence both analyses share: validation, detection and the two heart
// rates, the analysis's own step on a plausible rhythm, the status mapping,
// and the output arrays (the default ones when no rhythm was accepted).
template <class Analysis, class AfterDetection>
Analysis run_entry(const AnalysisRequest& r, const EntryLimits& limits, AfterDetection after) {
  Analysis a = begin_analysis<Analysis>(r, limits);
  if (a.error == kAnalysisOk) {
    WaveDetection waves;
    int32_t status = 1;
    a.error = detect_and_rate(r, a, waves, status);
    if (a.error == kAnalysisOk) after(a, waves);
    toCompile_terminate();
    a.error = error_for_detection_status(a.error, status);
    if (a.error != kNoPlausibleRhythm) {
      fill_detected_arrays(a, r, waves, limits);
      return a;
    }
  }
  fill_default_arrays(a, r, limits);
  return a;
}

}  // namespace

QrsAnalysis analyse_qrs(const AnalysisRequest& r) {
  return run_entry<QrsAnalysis>(r, kQrsLimits, [](QrsAnalysis&, const WaveDetection&) {});
}

HrvAnalysis analyse_hrv(const AnalysisRequest& r) {
  return run_entry<HrvAnalysis>(r, kHrvLimits, [](HrvAnalysis& a, const WaveDetection& waves) {
    const auto rrIntervals = static_cast<int32_t>(waves.normalPeaks.size()) - 1;
    if (rrIntervals < kMinimumRrIntervalsForHrv) {
      a.error = kTooFewBeatsForHrv;
      return;
    }
    hrv_with_extra_systoles(waves.normalPeaks, waves.extraPeaks, rrIntervals, kRequiredRateHz,
                            a.timeDomain, a.frequencyDomain, a.error);
  });
}

}  // namespace zyn
