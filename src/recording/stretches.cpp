// Stretching, analysis and merging of long recordings. See stretches.hpp.
#include "stretches.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zyn::cli {
namespace {

int64_t seconds_to_samples(double seconds) { return static_cast<int64_t>(std::llround(seconds * kAnalysisRateHz)); }

// Quality windows shorter than 5 s are not split by the library: one code
// covers the whole stretch, and stretches then align to whole seconds.
int64_t grid_unit(int32_t windowSeconds) {
  return windowSeconds >= 5 ? int64_t{windowSeconds} * 200 : 200;
}

void append_beats(std::vector<Beat>& out, const std::vector<int32_t>& positions, int64_t offset, bool extra) {
  for (const int32_t p : positions)
    if (p >= 0) out.push_back({offset + p, extra});
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
  const BeatAnalysis& a = s.beats();
  std::vector<QualityWindow> out;
  const int64_t width = a.qualityCount == 1 ? s.plan.count : int64_t{windowSeconds} * 200;
  for (int32_t i = 0; i < a.qualityCount && i < static_cast<int32_t>(a.qualities.size()); ++i) {
    out.push_back({s.plan.first + i * width, width, a.qualities[static_cast<std::size_t>(i)]});
  }
  return out;
}

}  // namespace

int64_t max_stretch_samples(Mode mode) {
  return mode == Mode::Hrv ? kHrvMaxSamples : kQrsMaxSamples;
}

int64_t min_recording_samples(Mode mode) {
  return mode == Mode::Qrs || mode == Mode::Both ? kQrsMinSamples : kHrvMinSamples;
}

std::vector<StretchPlan> plan_stretches(int64_t total, int64_t maxSamples, int32_t windowSeconds) {
  if (total <= maxSamples) return {{0, total}};
  const int64_t unit = grid_unit(windowSeconds);
  const int64_t step = std::max(unit, (maxSamples - seconds_to_samples(kMinimumOverlapSeconds)) / unit * unit);
  std::vector<StretchPlan> plans;
  int64_t start = 0;
  for (; start + maxSamples < total; start += step) plans.push_back({start, maxSamples});
  // The last stretch ends with the recording and starts on the grid; it is
  // at most one grid unit shorter than the others.
  const int64_t lastStart = (total - maxSamples + unit - 1) / unit * unit;
  plans.push_back({lastStart, total - lastStart});
  return plans;
}

bool has_beats(int32_t error) {
  return error == kAnalysisOk || error == kNoSpectrum || error == kSaturated || error == kIrregular ||
         error == kTooFewBeatsForHrv;
}

std::vector<Beat> stretch_beats(const StretchResult& stretch) {
  std::vector<Beat> out;
  const BeatAnalysis& a = stretch.beats();
  if (!has_beats(a.error)) return out;
  append_beats(out, a.rpeaks, stretch.plan.first, false);
  append_beats(out, a.extraSystoles, stretch.plan.first, true);
  std::sort(out.begin(), out.end(), [](const Beat& x, const Beat& y) { return x.sample < y.sample; });
  return out;
}

std::vector<Beat> merge_beats(std::vector<StretchResult>& stretches,
                              const std::vector<std::vector<Beat>>& beatsPerStretch) {
  const int64_t refractory = seconds_to_samples(kRefractorySeconds);
  std::vector<Beat> merged;
  for (std::size_t k = 0; k < stretches.size(); ++k) {
    StretchResult& s = stretches[k];
    s.ownedFrom = k == 0 ? s.plan.first : stretches[k - 1].ownedTo;
    if (k + 1 == stretches.size()) {
      s.ownedTo = s.plan.first + s.plan.count;
    } else {
      const StretchPlan& next = stretches[k + 1].plan;
      const int64_t overlapEnd = s.plan.first + s.plan.count;
      const int64_t target = (next.first + overlapEnd) / 2;
      // Search the gap in this stretch's beats, or in the next one's when
      // this stretch found none.
      const auto& reference = beatsPerStretch[k].empty() ? beatsPerStretch[k + 1] : beatsPerStretch[k];
      s.ownedTo = cut_between_beats(reference, target, next.first + refractory, overlapEnd - refractory);
    }
    for (const Beat& b : beatsPerStretch[k]) {
      if (b.sample < s.ownedFrom || b.sample >= s.ownedTo) continue;
      if (!merged.empty() && b.sample - merged.back().sample < refractory) continue;  // seen across the cut
      merged.push_back(b);
    }
  }
  return merged;
}

WholeAnalysis analyse_in_stretches(std::span<const double> ecg, const AnalysisOptions& options,
                                   const Progress& progress) {
  WholeAnalysis whole;
  const auto plans = plan_stretches(static_cast<int64_t>(ecg.size()), max_stretch_samples(options.mode),
                                    options.windowSeconds);
  std::vector<std::vector<Beat>> beatsPerStretch;
  for (std::size_t k = 0; k < plans.size(); ++k) {
    if (progress) progress(k, plans.size());
    StretchResult s;
    s.plan = plans[k];
    AnalysisRequest request;
    request.ecg = ecg.subspan(static_cast<std::size_t>(s.plan.first), static_cast<std::size_t>(s.plan.count));
    request.fs = 200;
    request.startSeconds = 0;
    request.qualityWindowSeconds = options.windowSeconds;
    request.fullScale = options.fullScale;
    if (options.mode != Mode::Hrv) s.qrs = analyse_qrs(request);
    if (options.mode != Mode::Qrs) s.hrv = analyse_hrv(request);
    beatsPerStretch.push_back(stretch_beats(s));
    whole.stretches.push_back(std::move(s));
  }
  if (progress) progress(plans.size(), plans.size());
  whole.beats = merge_beats(whole.stretches, beatsPerStretch);
  // Windows lie on one grid: each stretch contributes those that start
  // before the grid point nearest the middle of its overlap with the next
  // one (and not later than its own last whole window), and at or after the
  // previous stretch's such point. A single code for a whole stretch (windows
  // under 5 s) is kept for every stretch.
  const int64_t unit = grid_unit(options.windowSeconds);
  int64_t from = 0;
  for (std::size_t k = 0; k < whole.stretches.size(); ++k) {
    const StretchResult& s = whole.stretches[k];
    const auto windows = windows_of(s, options.windowSeconds);
    int64_t to = std::numeric_limits<int64_t>::max();
    if (k + 1 < whole.stretches.size() && !windows.empty()) {
      const int64_t middle = (whole.stretches[k + 1].plan.first + s.plan.first + s.plan.count) / 2;
      to = std::min((middle + unit / 2) / unit * unit, windows.back().first + windows.back().count);
    }
    for (const QualityWindow& w : windows) {
      if (s.beats().qualityCount == 1 || (w.first >= from && w.first < to)) whole.windows.push_back(w);
    }
    from = to;
  }
  return whole;
}

}  // namespace zyn::cli
