// Time-domain HRV statistics of a labelled RR series (times and intervals in
// seconds, flags 'N' / 'V'), in one pass over the intervals.
//
// An interval is an NN interval when it and the interval before it both end
// at normal beats (the first interval never is). The series is cut into
// consecutive 300 s segments by interval time; a segment with at least two NN
// intervals contributes its NN ratio, mean and standard deviation to sdann
// (standard deviation of the segment means) and sdnnidx (mean of the segment
// standard deviations). A gap of more than one whole segment advances the
// segment index past the empty segments and, as designed, closes the
// segment of the interval before the gap under the advanced index with mean
// and standard deviation 0. Counts of zero give NaN by 0/0.
//
// The segment summaries are kept per call, so analyses may run concurrently.
#include "hrv/time_domain.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "runtime/emx.hpp"
#include "runtime/scalar.hpp"
#include "zynecgsolver/hrv.h"

namespace zyn {
namespace {

// The gap walk stops after this many empty segments (about 10 million
// years); beyond it an interval simply joins the segment the walk reached.
constexpr double kMaxGapSegments = 1099511627776.0;  // 2^40

struct SegmentSummary {
  double mean;
  double sd;
};

struct Segment {
  double end = kSegmentSeconds;  // an interval at or after this time starts the next segment
  int64_t index = 0;
  int64_t intervals = 0;  // nAll
  int64_t nn = 0;         // nNN
  double sum = 0.0;
  double sumSquares = 0.0;

  void advance(int64_t steps) {
    index = std::min<int64_t>(index, std::numeric_limits<int64_t>::max() / 4) + steps;
  }
  void start_new(double newEnd) {
    end = newEnd;
    advance(1);
    intervals = 1;
    nn = 0;
    sum = 0.0;
    sumSquares = 0.0;
  }
};

// Closes a segment whose NN intervals summed to `sum` and `sumSquares`:
// only segments with at least two NN intervals are summarised.
void close_segment(const Segment& seg, double sum, double sumSquares,
                   std::vector<SegmentSummary>& closed) {
  if (seg.nn <= 1) return;
  const auto nn = static_cast<double>(seg.nn);
  closed.push_back({sum / nn, std::sqrt((sumSquares - sum * sum / nn) / (nn - 1.0))});
}

// Number of further 300 s steps after `upper` until t is no longer beyond it
// (the exact walk: all segment ends are multiples of 300 s, so upper + 300 k
// is exact).
double further_gap_steps(double t, double upper) {
  if (!(t > upper)) return 0.0;
  double k = std::min(std::ceil((t - upper) / kSegmentSeconds), kMaxGapSegments);
  while (k > 0.0 && !(t > upper + kSegmentSeconds * (k - 1.0))) k -= 1.0;
  while (k < kMaxGapSegments && t > upper + kSegmentSeconds * k) k += 1.0;
  return k;
}

bool is_normal(std::span<const char> flags, std::size_t i) { return flags[i] == kNormalFlag; }

double mean_or_minus_one(const std::vector<SegmentSummary>& closed) {
  if (closed.empty()) return -1.0;
  double sum = 0.0;
  for (const SegmentSummary& s : closed) sum += s.sd;
  return sum / static_cast<double>(closed.size());
}

double sd_of_means_or_minus_one(const std::vector<SegmentSummary>& closed) {
  if (closed.size() <= 1) return -1.0;
  double sum = 0.0;
  double sumSquares = 0.0;
  for (const SegmentSummary& s : closed) {
    sum += s.mean;
    sumSquares += s.mean * s.mean;
  }
  const auto c = static_cast<double>(closed.size());
  return std::sqrt((sumSquares - sum * sum / c) / (c - 1.0));
}

}  // namespace

int32_t nn_statistics(std::span<const double> t, std::span<const double> rr,
                      std::span<const char> flags, std::span<double, 7> out) {
  const std::size_t n = std::min({t.size(), rr.size(), flags.size()});
  std::vector<SegmentSummary> closed;
  Segment seg;
  int64_t totalNN = 0;
  int64_t pairs = 0;
  int64_t large = 0;
  double sum = 0.0;
  double sumSquares = 0.0;
  double sumSquaredDiffs = 0.0;

  for (std::size_t i = 0; i < n; ++i) {
    const double ti = t[i];
    if (ti > seg.end + kSegmentSeconds) {
      // More than one whole segment empty: walk past them, then close the
      // slot reached (which holds no sums) with this segment's counts.
      const double firstUpper = seg.end + 2.0 * kSegmentSeconds;
      const double steps = further_gap_steps(ti, firstUpper);
      seg.advance(1 + static_cast<int64_t>(steps));
      close_segment(seg, 0.0, 0.0, closed);
      seg.start_new(firstUpper + kSegmentSeconds * steps);
    } else if (ti >= seg.end) {
      close_segment(seg, seg.sum, seg.sumSquares, closed);
      seg.start_new(seg.end + kSegmentSeconds);
    } else {
      ++seg.intervals;
    }

    const bool nn = is_normal(flags, i) && i >= 1 && is_normal(flags, i - 1);
    if (!nn) continue;
    const double v = rr[i];
    ++seg.nn;
    ++totalNN;
    sum += v;
    seg.sum += v;
    sumSquares += v * v;
    seg.sumSquares += v * v;
    if (i >= 2 && is_normal(flags, i - 2)) {
      const double d = v - rr[i - 1];
      ++pairs;
      sumSquaredDiffs += d * d;
      if (std::fabs(d) > kPnn50ThresholdSeconds) ++large;
    }
  }
  close_segment(seg, seg.sum, seg.sumSquares, closed);

  const double nnCount = static_cast<double>(totalNN);
  const double pairCount = static_cast<double>(pairs);
  out[kNnRatio] = nnCount / static_cast<double>(n < 1 ? 1 : n);
  out[kAvnn] = sum / nnCount;
  out[kSdnn] = std::sqrt((sumSquares - sum * sum / nnCount) / (nnCount - 1.0));
  out[kSdann] = sd_of_means_or_minus_one(closed);
  out[kSdnnIdx] = mean_or_minus_one(closed);
  out[kRmssd] = std::sqrt(sumSquaredDiffs / pairCount);
  out[kPnn50] = static_cast<double>(large) / pairCount;
  return static_cast<int32_t>(
      std::min<int64_t>(seg.index, std::numeric_limits<int32_t>::max() - 1) + 1);
}

int32_t time_domain_hrv(std::span<const double> t, std::span<const double> rr,
                        std::span<const char> flags, std::span<double, 7> out, int32_t& status) {
  const int32_t segments = nn_statistics(t, rr, flags, out);
  if (out[kSdann] == -1.0 || std::isnan(out[kSdann])) out[kSdann] = 0.0;
  status = 0;
  return segments;
}

int32_t all_normal_rr_series(std::span<const int32_t> peaks, int32_t fs, std::span<char> flags,
                             std::span<double> t, std::span<double> rr) {
  std::size_t nRR = std::min({flags.size(), t.size(), rr.size()});
  nRR = std::min(nRR, peaks.empty() ? 0 : peaks.size() - 1);
  if (nRR < 1) return 0;
  const auto rate = static_cast<double>(fs);
  const auto samples = [&](std::size_t i) {
    return static_cast<double>(static_cast<int64_t>(peaks[i + 1]) - peaks[i]);
  };
  std::fill_n(flags.begin(), nRR, kNormalFlag);
  rr[0] = samples(0) / rate;
  for (std::size_t i = 1; i < nRR; ++i) rr[i] = samples(i) * (1.0 / rate);
  t[0] = 0.0;
  for (std::size_t i = 1; i < nRR; ++i) t[i] = (rr[i] + rr[i - 1]) * 0.5 + t[i - 1];
  if (nRR >= 2) return static_cast<int32_t>(std::min<std::size_t>(nRR - 1, INT32_MAX));
  return saturating_sub(peaks[1], peaks[0]);
}

}  // namespace zyn

namespace {
template <class T>
std::span<T> span_of(T* data, int32_T n) {
  return data == nullptr ? std::span<T>() : std::span<T>(data, static_cast<std::size_t>(std::max(n, 0)));
}
}  // namespace

extern "C" {

ZYN_API int32_T calcRR(const int32_T* peaks, int32_T nRR, int32_T fs, char* flags, real_T* t,
                       real_T* rr) {
  const int32_T nPeaks = nRR > 0 ? nRR + (nRR < INT32_MAX ? 1 : 0) : 0;
  return zyn::all_normal_rr_series(span_of(peaks, nPeaks), fs, span_of(flags, nRR),
                                   span_of(t, nRR), span_of(rr, nRR));
}

ZYN_API int32_T calcHrvTime(const real_T* t, const real_T* rr, const char* flags, int32_T n,
                            real_T* timeResults, int32_T* status) {
  if (timeResults == nullptr) return 0;
  int32_t ignored = 0;
  return zyn::guarded(0, [&] {
    return zyn::time_domain_hrv(span_of(t, n), span_of(rr, n), span_of(flags, n),
                                std::span<double, 7>(timeResults, 7),
                                status != nullptr ? *status : ignored);
  });
}

ZYN_API int32_T calcStatNN(const real_T* t, const real_T* rr, const char* flags, int32_T n,
                           real_T* timeResults) {
  if (timeResults == nullptr) return 0;
  return zyn::guarded(0, [&] {
    return zyn::nn_statistics(span_of(t, n), span_of(rr, n), span_of(flags, n),
                              std::span<double, 7>(timeResults, 7));
  });
}

}  // extern "C"
