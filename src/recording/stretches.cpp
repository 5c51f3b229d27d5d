// Stretching, analysis and merging of long signals. See stretches.hpp.
#include "stretches.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zyn::recording {
namespace {

constexpr int32_t kShortestSplitWindowSeconds = 5;

int64_t seconds_to_samples(double seconds) { return static_cast<int64_t>(std::llround(seconds * kAnalysisRateHz)); }

// Stretches start on multiples of the quality window when at least two
// windows fit in the step between stretches; otherwise (windows under 5 s,
// which the library does not split, or windows too long for the grid) on
// whole seconds.
int64_t grid_unit(int32_t windowSeconds, int64_t maxSamples) {
  const int64_t window = int64_t{windowSeconds} * 200;
  const int64_t step = maxSamples - seconds_to_samples(kMinimumOverlapSeconds);
  return windowSeconds >= kShortestSplitWindowSeconds && 2 * window <= step ? window : 200;
}

// A cut point near `target` that lies halfway between two consecutive beats
// of `beats` (so a beat found a few samples apart by the two stretches falls
// on the same side), or target itself when no beat gap surrounds it.
int64_t cut_between_beats(const std::vector<Beat>& beats, int64_t target, int64_t lo, int64_t hi) {
  const auto after = std::lower_bound(beats.begin(), beats.end(), target,
                                      [](const Beat& b, int64_t t) { return b.sample < t; });
  if (after == beats.begin() || after == beats.end()) return target;
  const int64_t cut = (std::prev(after)->sample + after->sample) / 2;
  return std::clamp(cut, lo, hi);
}

std::vector<QualityWindow> windows_of(const StretchResult& s, int32_t windowSeconds) {
  std::vector<QualityWindow> out;
  const auto n = static_cast<int64_t>(s.qualities.size());
  // The library gives one code for the whole stretch when its windows are
  // under 5 s or longer than the stretch; else one per whole window.
  const int64_t window = int64_t{windowSeconds} * 200;
  const bool whole = windowSeconds < kShortestSplitWindowSeconds || s.plan.count / 200 < windowSeconds;
  const int64_t width = whole ? s.plan.count : window;
  for (int64_t i = 0; i < n; ++i)
    out.push_back({s.plan.first + i * width, width, 0.0, 0.0, s.qualities[static_cast<std::size_t>(i)]});
  return out;
}

void append_beats(std::vector<Beat>& out, const std::vector<int32_t>& positions, int64_t offset, bool extra) {
  for (const int32_t p : positions)
    if (p >= 0) out.push_back({offset + p, extra});
}

}  // namespace

int64_t max_stretch_samples() { return kQrsMaxSamples; }

int64_t min_recording_samples(Mode mode) { return mode == Mode::Hrv ? kHrvMinSamples : kQrsMinSamples; }

std::vector<StretchPlan> plan_stretches(int64_t total, int64_t maxSamples, int32_t windowSeconds) {
  if (total <= maxSamples) return {{0, total}};
  const int64_t unit = grid_unit(windowSeconds, maxSamples);
  const int64_t step = (maxSamples - seconds_to_samples(kMinimumOverlapSeconds)) / unit * unit;
  std::vector<StretchPlan> plans;
  int64_t start = 0;
  for (; start + maxSamples < total; start += step) plans.push_back({start, maxSamples});
  // The last stretch ends with the recording and starts on the grid: it is
  // at most one grid unit (half a step) shorter than the others, and it
  // overlaps the one before by at least as much as the others do.
  const int64_t lastStart = (total - maxSamples + unit - 1) / unit * unit;
  plans.push_back({lastStart, total - lastStart});
  return plans;
}

std::vector<StretchPlan> finite_runs(std::span<const double> ecg) {
  std::vector<StretchPlan> runs;
  const auto n = static_cast<int64_t>(ecg.size());
  int64_t i = 0;
  while (i < n) {
    while (i < n && std::isnan(ecg[static_cast<std::size_t>(i)])) ++i;
    const int64_t first = i;
    while (i < n && !std::isnan(ecg[static_cast<std::size_t>(i)])) ++i;
    if (i > first) runs.push_back({first, i - first});
  }
  return runs;
}

bool has_beats(int32_t error) {
  return error == kAnalysisOk || error == kNoSpectrum || error == kSaturated || error == kIrregular ||
         error == kTooFewBeatsForHrv;
}

StretchResult analyse_stretch(std::span<const double> ecg, StretchPlan plan, int32_t windowSeconds,
                              double fullScale) {
  StretchResult s;
  s.plan = plan;
  AnalysisRequest request;
  request.ecg = ecg.subspan(static_cast<std::size_t>(plan.first), static_cast<std::size_t>(plan.count));
  request.fs = 200;
  request.startSeconds = 0;
  request.qualityWindowSeconds = windowSeconds;
  request.fullScale = fullScale;
  // A stretch longer than the beat detection accepts is one call of the HRV
  // analysis, whose detection is the same.
  const BeatAnalysis a = plan.count > kQrsMaxSamples ? BeatAnalysis(analyse_hrv(request)) : BeatAnalysis(analyse_qrs(request));
  s.error = a.error;
  s.hrBpm = a.hr;
  s.hrMeanBpm = a.hrMean;
  s.qualities.assign(a.qualities.begin(), a.qualities.begin() + std::min<std::ptrdiff_t>(a.qualityCount, std::ssize(a.qualities)));
  if (has_beats(a.error)) {
    append_beats(s.beats, a.rpeaks, plan.first, false);
    append_beats(s.beats, a.extraSystoles, plan.first, true);
    std::sort(s.beats.begin(), s.beats.end(), [](const Beat& x, const Beat& y) { return x.sample < y.sample; });
  }
  return s;
}

std::vector<Beat> merge_beats(std::vector<StretchResult>& stretches) {
  const int64_t refractory = seconds_to_samples(kRefractorySeconds);
  std::vector<Beat> merged;
  for (std::size_t k = 0; k < stretches.size(); ++k) {
    StretchResult& s = stretches[k];
    const int64_t end = s.plan.first + s.plan.count;
    const bool overlapsPrevious = k > 0 && stretches[k - 1].plan.first + stretches[k - 1].plan.count > s.plan.first;
    s.ownedFrom = overlapsPrevious ? stretches[k - 1].ownedTo : s.plan.first;
    if (k + 1 == stretches.size() || stretches[k + 1].plan.first >= end) {
      s.ownedTo = end;
    } else {
      const StretchPlan& next = stretches[k + 1].plan;
      const int64_t target = (next.first + end) / 2;
      // Search the gap in this stretch's beats, or in the next one's when
      // this stretch found none.
      const auto& reference = s.beats.empty() ? stretches[k + 1].beats : s.beats;
      s.ownedTo = cut_between_beats(reference, target, next.first + refractory, end - refractory);
    }
    const std::size_t before = merged.size();
    for (const Beat& b : s.beats) {
      if (b.sample < s.ownedFrom || b.sample >= s.ownedTo) continue;
      // A beat this close after the previous stretch's last one was seen by both.
      if (merged.size() == before && before > 0 && b.sample - merged.back().sample < refractory) continue;
      merged.push_back(b);
    }
    if (k > 0) std::vector<Beat>().swap(stretches[k - 1].beats);
  }
  if (!stretches.empty()) std::vector<Beat>().swap(stretches.back().beats);
  return merged;
}

std::vector<QualityWindow> merge_windows(const std::vector<StretchResult>& stretches, int32_t windowSeconds) {
  // Windows on the grid: each stretch contributes those that start before
  // the grid point nearest the middle of its overlap with the next one (and
  // not later than its own last whole window), and at or after the previous
  // stretch's such point. A single code for a whole stretch is kept for
  // every stretch.
  std::vector<QualityWindow> out;
  const int64_t unit = grid_unit(windowSeconds, max_stretch_samples());
  int64_t from = 0;
  for (std::size_t k = 0; k < stretches.size(); ++k) {
    const StretchResult& s = stretches[k];
    const auto windows = windows_of(s, windowSeconds);
    const int64_t end = s.plan.first + s.plan.count;
    int64_t to = std::numeric_limits<int64_t>::max();
    if (k + 1 < stretches.size() && stretches[k + 1].plan.first < end && !windows.empty()) {
      const int64_t middle = (stretches[k + 1].plan.first + end) / 2;
      to = std::min((middle + unit / 2) / unit * unit, windows.back().first + windows.back().count);
    }
    for (const QualityWindow& w : windows)
      if (windows.size() == 1 || unit == 200 || (w.first >= from && w.first < to)) out.push_back(w);
    from = to == std::numeric_limits<int64_t>::max() ? 0 : to;
  }
  return out;
}

}  // namespace zyn::recording
