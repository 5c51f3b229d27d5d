// Analysis of a long 200 Hz signal in stretches that one library call accepts.
//
// One call of the beat detection accepts at most 119,936 samples (about
// 10 minutes). Longer signals are cut into consecutive stretches of that size
// which overlap by at least 10 s. Stretches start on a multiple of the quality
// window when at least two windows fit in the step between stretches, so that
// the windows of all stretches lie on one grid; longer windows give each
// stretch its own codes. Runs of samples that are not numbers (NaN) are never
// handed to the library: the signal is planned in its finite runs, and a run
// too short for one call is reported instead of analysed.
//
// The beats of neighbouring stretches are joined at a cut point inside the
// overlap, chosen in the gap between two beats, far from both stretch ends
// (the detector drops beats within 1 s of either end), and beats closer than
// a refractory period across the cut are counted once.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "analysis/pipelines.hpp"

namespace zyn::recording {

inline constexpr double kAnalysisRateHz = 200.0;
inline constexpr double kMinimumOverlapSeconds = 10.0;
// Two beats closer than this across a stretch border are one beat.
inline constexpr double kRefractorySeconds = 0.25;
// Error code of a stretch that was not analysed because it holds NaN samples.
inline constexpr int32_t kStretchHoldsNaN = 9;

enum class Mode { Qrs, Hrv, Both };

// A stretch [first, first + count) of the analysed signal, 200 Hz samples.
struct StretchPlan {
  int64_t first = 0;
  int64_t count = 0;
};

// One beat of the merged list.
struct Beat {
  int64_t sample = 0;   // 0-based index in the analysed 200 Hz signal (from the start second)
  bool extra = false;   // extra systole (not the majority morphology)
};

// One window of the signal-quality grid (or one code for a whole stretch
// when windows are shorter than 5 s or do not fit the grid).
struct QualityWindow {
  int64_t first = 0, count = 0;        // 200 Hz samples of the analysed signal
  double startSeconds = 0.0, endSeconds = 0.0;
  int32_t code = 0;                    // 0 good, 3 fewer than two beats, 5 saturated, 6 irregular
};

// Results of one stretch, as the library's beat detection returned them.
struct StretchResult {
  StretchPlan plan;                    // 200 Hz samples of the analysed signal
  int64_t ownedFrom = 0, ownedTo = 0;  // part of the signal whose beats come from this stretch
  double startSeconds = 0.0, endSeconds = 0.0;
  // The library's error code (0, 3, 5, 6, ...), or kStretchHoldsNaN for a
  // run of finite samples too short to analyse between NaN samples.
  int32_t error = kAnalysisOk;
  double hrBpm = 0.0, hrMeanBpm = 0.0; // the stretch's own heart rates
  std::vector<int32_t> qualities;      // one code per window of the stretch
  std::vector<Beat> beats;             // in the analysed signal, ascending; emptied by the merge
};

// Largest stretch one library call accepts, and the shortest signal the given
// mode accepts.
int64_t max_stretch_samples();
int64_t min_recording_samples(Mode mode);

// Stretches covering samples [0, total), each at most maxSamples long.
std::vector<StretchPlan> plan_stretches(int64_t total, int64_t maxSamples, int32_t windowSeconds);

// Runs [first, first + count) of samples that are numbers, in order.
std::vector<StretchPlan> finite_runs(std::span<const double> ecg);

// Joins the beats of consecutive stretches (each list ascending, positions in
// the whole signal); sets ownedFrom/ownedTo of the stretches and empties
// their beat lists.
std::vector<Beat> merge_beats(std::vector<StretchResult>& stretches);

// Quality windows of all stretches on one list, each part of the signal rated
// once where the windows lie on a grid.
std::vector<QualityWindow> merge_windows(const std::vector<StretchResult>& stretches, int32_t windowSeconds);

// Beat detection of one stretch through the library (the HRV analysis for
// a stretch of 119,937 .. 120,000 samples).
StretchResult analyse_stretch(std::span<const double> ecg, StretchPlan plan, int32_t windowSeconds,
                              double fullScale);

// True when the error code leaves usable beats (0 success, 4 no spectrum,
// 5 saturated, 6 irregular, 8 too few beats for HRV).
bool has_beats(int32_t error);

}  // namespace zyn::recording
