// The two analyses that the Java boundary and the command-line tool offer, as
// plain C++ functions returning plain structs.
//
// Both take the whole recording sampled at 200 Hz, the second at which the
// analysed stretch begins, the quality window length in seconds and the
// recorder's full-scale amplitude (in sample units). They validate the
// request, run wave detection on the stretch, compute the heart rate from the
// median RR interval and from the trimmed mean of all RR intervals, and (HRV)
// the time-domain statistics and Lomb band powers. Beat positions come back as
// 0-based sample indices into the whole recording; every index array is padded
// with -1 to the length a caller would allocate for the recording.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace zyn {

// Error codes of the results objects.
enum AnalysisError : int32_t {
  kAnalysisOk = 0,
  kNoRecording = 1,
  kBadLengthOrRate = 2,
  kNoPlausibleRhythm = 3,
  kNoSpectrum = 4,
  kSaturated = 5,
  kIrregular = 6,
  kBadStartOrFullScale = 7,
  kTooFewBeatsForHrv = 8,
  kNotANumber = 9,  // the analysed stretch holds a NaN sample
};

// What is common to both analyses.
struct BeatAnalysis {
  int32_t error = kAnalysisOk;
  double hr = 0.0;      // beats per minute, median RR interval
  double hrMean = 0.0;  // beats per minute, trimmed mean of all RR intervals
  // Length of each beat array (rpeaks, extra systoles and the two reserved
  // arrays, which stay all -1) and of the qualities array.
  int32_t beatArrayLength = 0;
  int32_t qualityCount = 0;
  std::vector<int32_t> rpeaks;          // 0-based in the recording, -1 padded
  std::vector<int32_t> extraSystoles;   // 0-based in the recording, -1 padded
  std::vector<int32_t> qualities;       // one code per window, -1 padded
};

struct QrsAnalysis : BeatAnalysis {};

struct HrvAnalysis : BeatAnalysis {
  // nn_rr, avnn, sdnn, sdann, sdnnidx, rmssd, pnn50 (seconds and fractions).
  std::array<double, 7> timeDomain{};
  // tot_pwr, ulf_pwr, vlf_pwr, lf_pwr, hf_pwr (s^2) and lf_hf.
  std::array<double, 6> frequencyDomain{};
};

struct AnalysisRequest {
  std::optional<std::span<const double>> ecg;  // nullopt: no recording given
  int32_t fs = 200;
  int32_t startSeconds = 0;
  int32_t qualityWindowSeconds = 10;
  double fullScale = 0.0;
};

// Beat detection on a recording of 3000 .. 119936 samples.
QrsAnalysis analyse_qrs(const AnalysisRequest& request);

// Beat detection and HRV statistics on a recording of 36000 .. 120000 samples.
HrvAnalysis analyse_hrv(const AnalysisRequest& request);

// The longest recording each analysis accepts, in samples.
inline constexpr int32_t kQrsMaxSamples = 119936;
inline constexpr int32_t kHrvMaxSamples = 120000;
inline constexpr int32_t kQrsMinSamples = 3000;
inline constexpr int32_t kHrvMinSamples = 36000;

}  // namespace zyn
