// Candidate segments and the choice of one R peak in each (see
// detector_stages.hpp for the contracts).
//
// Input: the baseline-free ECG and the median-centred raw ECG, in any
// amplitude unit, sampled at fs Hz; the mask of samples above the detection
// threshold. Output: 1-based segment bounds and R positions.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "beats/detection_kernels.hpp"
#include "beats/detector_stages.hpp"
#include "beats/detector_units.hpp"
#include "beats/signal_kernels.hpp"
#include "toolbox/sets.hpp"
#include "toolbox/stats.hpp"

namespace zyn::beats {
namespace {

constexpr double kContextSeconds = 2.0;
constexpr double kCrossingSpanDivisor = 50.0;  // fs / 50 + 1 samples: 0.02 s
constexpr double kNoisyCrossingRate = 0.3;
constexpr double kNoiseMaxKurtosis = 4.0;
constexpr std::size_t kMinDistinctInContext = 30;
constexpr double kMinSegmentSeconds = 0.15;
constexpr double kFallWeight = 1.9;
// Segment contexts whose sums advance side by side.
constexpr std::size_t kContextsSideBySide = 4;
// Moving averages up to this half width are summed sample by sample (so any
// stretch of a signal smooths to the same interior values as the whole
// signal); wider ones keep a running sum.
constexpr std::size_t kDirectSumHalfWidth = 4;

std::size_t light_smoothing_half_width(double fs) { return smoothing_half_width(fs / kCrossingSpanDivisor + 1.0); }

// The light smoothing of x into out (x's length).
void smooth_lightly(std::span<const double> x, std::span<double> out, double fs) {
  const std::size_t half = std::min(light_smoothing_half_width(fs), x.size());
  if (x.size() < 2 || half == 0) {
    std::copy(x.begin(), x.end(), out.begin());
  } else if (half <= kDirectSumHalfWidth) {
    smooth_directly(x, out, half);
  } else {
    smooth_moving_average(x, out, fs / kCrossingSpanDivisor + 1.0);
  }
}

double kurtosis_of(std::span<const double> x) {
  std::vector<double> centred(x.begin(), x.end());  // the kurtosis centres its input
  return kurtosis(centred);
}

// The crossing rate of a context is the count of sign changes per sample of
// its lightly smoothed, mean-free samples (each crossing counts 2). The light
// smoothing sums its few samples directly, so inside the context it equals
// the smoothing of the whole signal (smoothedContext, when given); only the
// samples whose window the context clips are recomputed. The smoothed context
// is then three consecutive pieces: the recomputed head, the whole signal's
// smoothing read in place (a context is about 4 s, and copying every one of
// them cost as much as their sums), and the recomputed tail. Recomputed
// samples go to `work`, scratch space reused across calls. The first piece is
// never empty.
Pieces smooth_context(std::span<const double> context, std::span<const double> smoothedContext, double fs,
                      std::vector<double>& work) {
  const std::size_t len = context.size();
  const std::size_t half = light_smoothing_half_width(fs);
  if (!smoothedContext.empty() && half >= 1 && half <= kDirectSumHalfWidth && len >= 2) {
    const std::size_t head = std::min(half, len);
    const std::size_t tail = std::max(head, len - head);  // where the recomputed tail starts
    work.resize(head + len - tail);
    for (std::size_t k = 0; k < head; ++k) work[k] = moving_average_at(context, k, half);
    for (std::size_t k = tail; k < len; ++k) work[head + k - tail] = moving_average_at(context, k, half);
    const std::span<const double> recomputed(work);
    return {recomputed.first(head), smoothedContext.subspan(head, tail - head), recomputed.subspan(head)};
  }
  work.resize(len);
  smooth_lightly(context, work, fs);
  return {std::span<const double>(work), {}, {}};
}

std::size_t size_of(const Pieces& pieces) { return pieces[0].size() + pieces[1].size() + pieces[2].size(); }

// sign_steps_about over the pieces as one sequence: the steps inside each
// piece and those across the joins.
int64_t sign_steps_across(const Pieces& pieces, double mean) {
  int64_t steps = 0;
  const double* before = nullptr;  // the last sample of the pieces so far
  for (const std::span<const double> piece : pieces) {
    if (piece.empty()) continue;
    if (before != nullptr) {
      const std::array<double, 2> join = {*before, piece.front()};
      steps += sign_steps_about(join, mean);
    }
    steps += sign_steps_about(piece, mean);
    before = &piece.back();
  }
  return steps;
}

// The rate from the smoothed context and the sum of its samples (in sample
// order, from the first sample).
double crossing_rate(const Pieces& smoothed, double total) {
  const auto len = static_cast<double>(size_of(smoothed));
  const double mean = total / len;
  return static_cast<double>(sign_steps_across(smoothed, mean)) / (len - 1.0);
}

void keep_segments_with_peaks(Segments& seg) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < seg.peak.size(); ++i) {
    if (seg.peak[i] > 0.0) {
      seg.start[kept] = seg.start[i];
      seg.end[kept] = seg.end[i];
      seg.peak[kept] = seg.peak[i];
      ++kept;
    }
  }
  seg.start.resize(kept);
  seg.end.resize(kept);
  seg.peak.resize(kept);
}

}  // namespace

Segments candidate_segments(std::span<const unsigned char> mask) {
  const auto n = static_cast<std::ptrdiff_t>(mask.size());
  Segments seg;
  mask_changes(mask, seg.start, seg.end);
  if (!seg.start.empty() && !seg.end.empty()) {
    if (seg.end.front() < seg.start.front()) seg.start.insert(seg.start.begin(), 1);
    if (seg.end.back() < seg.start.back()) seg.end.push_back(n);
    if (seg.start.front() <= 0) seg.start.front() = 1;
    if (seg.end.back() > n) seg.end.back() = n;
  }
  const std::size_t m = std::min(seg.start.size(), seg.end.size());
  seg.start.resize(m);
  seg.end.resize(m);
  seg.peak.assign(m, 0.0);
  return seg;
}

// Each maximum is scored against the last minimum before it (since the
// previous maximum; the first sample when there is none) and the last minimum
// between it and the next maximum (the last sample after the last maximum;
// a maximum with no such minimum is not scored). The turning points are coded
// across vector lanes and listed without branches, and only they are visited:
// in a noisy segment a branch per sample would be mispredicted about as often
// as not.
std::ptrdiff_t best_scored_maximum(std::span<const double> y, TurningPointScratch& scratch) {
  const std::size_t len = y.size();
  if (len < 3) return 0;
  scratch.code.resize(len);
  scratch.places.resize(len);
  code_turning_points(y.data(), len, scratch.code.data());
  std::size_t count = 0;
  for (std::size_t k = 1; k + 1 < len; ++k) {
    scratch.places[count] = k;
    count += scratch.code[k] != 0;
  }
  constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();
  double best = kMinusInf;
  std::ptrdiff_t winner = 0;
  std::size_t top = kNone, before = kNone, lastMinimum = kNone;
  const auto score_top = [&](std::size_t after) {
    const double peak = y[top];
    const double score = (peak - y[before == kNone ? 0 : before]) + kFallWeight * (peak - y[after]);
    if (score > best) {
      best = score;
      winner = static_cast<std::ptrdiff_t>(top) + 1;
    }
  };
  for (std::size_t e = 0; e < count; ++e) {
    const std::size_t k = scratch.places[e];
    if (scratch.code[k] == kMinimumCode) {
      lastMinimum = k;
      continue;
    }
    if (top != kNone && lastMinimum != kNone) score_top(lastMinimum);
    top = k;
    before = lastMinimum;
    lastMinimum = kNone;
  }
  if (top != kNone) score_top(lastMinimum == kNone ? len - 1 : lastMinimum);
  return winner;
}

bool contexts_read_whole_smoothing(double fs) { return light_smoothing_half_width(fs) <= kDirectSumHalfWidth; }

void smooth_whole_for_contexts(std::span<const double> ecg, double fs, std::span<double> smoothed) {
  if (contexts_read_whole_smoothing(fs)) smooth_lightly(ecg, smoothed, fs);
}

void choose_segment_peaks(Segments& seg, std::span<const double> ecg, std::span<const double> raw,
                          std::span<const double> smoothedWhole, double fs) {
  const auto n = static_cast<std::ptrdiff_t>(ecg.size());
  const std::ptrdiff_t context = samples_floor(kContextSeconds * fs);
  const OneBased x{ecg}, r{raw}, smoothed{smoothedWhole};
  const auto context_of = [&](std::size_t i) {
    return std::pair{std::max<std::ptrdiff_t>(1, seg.start[i] - context), std::min(n, seg.end[i] + context)};
  };
  // The tests of one segment, given the crossing rate of its context.
  const auto choose_peak_of = [&](std::size_t i, double rate, TurningPointScratch& turningPoints) {
    const auto [a, b] = context_of(i);
    if (b < a) return;
    if (rate >= kNoisyCrossingRate && !(kurtosis_of(x.range(a, b)) > kNoiseMaxKurtosis)) return;
    if (count_distinct_up_to(r.range(a, b), kMinDistinctInContext + 1) <= kMinDistinctInContext) return;
    if (static_cast<double>(seg.end[i] - seg.start[i]) < kMinSegmentSeconds * fs) {
      // Widened for the record, but left without a peak in this pass.
      const double widened = std::floor(static_cast<double>(seg.start[i]) + kMinSegmentSeconds * fs);
      seg.end[i] = static_cast<std::ptrdiff_t>(std::min(static_cast<double>(n), widened));
      return;
    }
    const std::ptrdiff_t place = best_scored_maximum(r.range(seg.start[i], seg.end[i]), turningPoints);
    if (place > 0) seg.peak[i] = static_cast<double>(place - 1 + seg.start[i]);
  };
  // The crossing rates of a few neighbouring segments are worked out
  // together (their context sums side by side) before the tests decide
  // segment by segment.
  const auto choose_in = [&](std::size_t first, std::size_t past) {
    std::array<std::vector<double>, kContextsSideBySide> work;
    TurningPointScratch turningPoints;
    for (std::size_t group = first; group < past; group += kContextsSideBySide) {
      std::array<Pieces, kContextsSideBySide> smoothedContexts{};
      for (std::size_t lane = 0; lane < kContextsSideBySide; ++lane) {
        const std::size_t i = std::min(group + lane, past - 1);  // a short last group repeats its last segment
        const auto [a, b] = context_of(i);
        if (b < a) {
          work[lane].assign(1, 0.0);  // no context, no tests: a stand-in is summed
          smoothedContexts[lane] = {std::span<const double>(work[lane]), {}, {}};
        } else {
          smoothedContexts[lane] = smooth_context(
              x.range(a, b), smoothedWhole.empty() ? std::span<const double>{} : smoothed.range(a, b), fs, work[lane]);
        }
      }
      const auto totals = ordered_sums(smoothedContexts);
      for (std::size_t i = group; i < std::min(past, group + kContextsSideBySide); ++i) {
        choose_peak_of(i, crossing_rate(smoothedContexts[i - group], totals[i - group]), turningPoints);
      }
    }
  };
  choose_in(0, seg.start.size());
  keep_segments_with_peaks(seg);
}

}  // namespace zyn::beats
