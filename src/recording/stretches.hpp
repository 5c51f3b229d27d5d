// Analysis of a whole recording of any length at 200 Hz.
//
// One call of the library accepts at most 119,936 samples (QRS) or 120,000
// samples (HRV). Longer recordings are cut into consecutive stretches of that
// size which overlap by at least 10 s; every stretch starts on a multiple of
// the quality window so that the windows of all stretches lie on one grid.
// The beats of neighbouring stretches are joined at a cut point inside the
// overlap, chosen in the gap between two beats, far from both stretch ends
// (the detector drops beats within 1 s of either end), and beats closer than
// a refractory period across the cut are counted once.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "analysis/pipelines.hpp"

namespace zyn::cli {

inline constexpr double kAnalysisRateHz = 200.0;
inline constexpr double kMinimumOverlapSeconds = 10.0;
// Two beats closer than this across a stretch border are one beat.
inline constexpr double kRefractorySeconds = 0.25;

enum class Mode { Qrs, Hrv, Both };

struct AnalysisOptions {
  Mode mode = Mode::Both;            // both: QRS and HRV on the same (QRS-sized) stretches
  int32_t windowSeconds = 10;        // quality window length
  double fullScale = 10.0;           // recorder full scale, in the signal's units
};

// A stretch [first, first + count) of the analysed signal, 200 Hz samples.
struct StretchPlan {
  int64_t first = 0;
  int64_t count = 0;
};

struct StretchResult {
  StretchPlan plan;
  int64_t ownedFrom = 0, ownedTo = 0;   // part of the signal whose beats come from this stretch
  std::optional<QrsAnalysis> qrs;       // positions 0-based within the stretch, as returned
  std::optional<HrvAnalysis> hrv;
  // The results whose beats and heart rates the summary uses (QRS when run).
  const BeatAnalysis& beats() const { return qrs ? static_cast<const BeatAnalysis&>(*qrs) : *hrv; }
};

struct Beat {
  int64_t sample = 0;   // 0-based index in the analysed 200 Hz signal
  bool extra = false;   // extra systole (not the majority morphology)
};

struct QualityWindow {
  int64_t first = 0, count = 0;   // 200 Hz samples of the analysed signal
  int32_t code = 0;
};

// The largest stretch one library call accepts in the given mode.
int64_t max_stretch_samples(Mode mode);
// The shortest recording the given mode accepts.
int64_t min_recording_samples(Mode mode);

// Stretches covering samples [0, total), each at most maxSamples long.
std::vector<StretchPlan> plan_stretches(int64_t total, int64_t maxSamples, int32_t windowSeconds);

// Joins the beats of consecutive stretches (each list ascending, positions in
// the whole signal); sets ownedFrom/ownedTo of the stretches.
std::vector<Beat> merge_beats(std::vector<StretchResult>& stretches,
                              const std::vector<std::vector<Beat>>& beatsPerStretch);

struct WholeAnalysis {
  std::vector<StretchResult> stretches;
  std::vector<Beat> beats;
  std::vector<QualityWindow> windows;
};

using Progress = std::function<void(std::size_t done, std::size_t total)>;

// Analyses a 200 Hz signal (already cut at the start second) in stretches.
WholeAnalysis analyse_in_stretches(std::span<const double> ecg, const AnalysisOptions& options,
                                   const Progress& progress = {});

// Beats of one stretch's results as positions in the whole signal.
std::vector<Beat> stretch_beats(const StretchResult& stretch);

// True when the error code leaves usable beats (0 success, 4 no spectrum,
// 5 saturated, 6 irregular, 8 too few beats for HRV).
bool has_beats(int32_t error);

}  // namespace zyn::cli
