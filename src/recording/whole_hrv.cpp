// Heart rates and HRV of a whole recording's merged beats. See whole_hrv.hpp.
#include "whole_hrv.hpp"

#include <algorithm>
#include <cmath>

#include "hrv/band_power.hpp"
#include "hrv/hrv.hpp"
#include "hrv/lomb.hpp"
#include "hrv/rr_series.hpp"
#include "hrv/time_domain.hpp"

namespace zyn::recording {
namespace {

constexpr int32_t kRateHz = 200;
constexpr double kLowestHeartRateBpm = 30.0;
constexpr double kHighestHeartRateBpm = 220.0;
constexpr int32_t kMinimumRrIntervalsForHrv = 5;
// The spectrum needs more than this many NN intervals.
constexpr std::size_t kFewestNNForSpectrum = 4;
// The spectrum delivers two entries per series point; its last two entries
// stay at frequency 0 and are not spectral points.
constexpr std::size_t kSpectrumEntriesPerPoint = 2;
constexpr uint64_t kTrailingZeroEntries = 2;

// 1-based positions of the beats of one class, as the library's detection
// numbers them.
std::vector<int32_t> positions_of(const std::vector<Beat>& beats, bool extra) {
  std::vector<int32_t> out;
  for (const Beat& b : beats)
    if (b.extra == extra) out.push_back(static_cast<int32_t>(b.sample + 1));
  return out;
}

// The Lomb spectrum of the NN series cut at 0.4 Hz and its band powers;
// false when no spectrum could be integrated.
bool spectrum_and_band_powers(const RrSeries& series, Spectrum& spectrum, std::array<double, 6>& powers) {
  const std::size_t n = std::min(series.nnT.size(), series.nnRR.size());
  std::vector<double> freq(kSpectrumEntriesPerPoint * n, 0.0);
  std::vector<double> amp(kSpectrumEntriesPerPoint * n, 0.0);
  // Without workspaces the spectrum stays all zero and is integrated as such.
  (void)lomb_spectrum(series.nnT, series.nnRR, freq, amp);
  const uint64_t kept = limit_frequencies(freq, amp, kSpectrumLimitHz);
  if (kept == 0) return false;
  const auto points = static_cast<int64_t>(kept) - static_cast<int64_t>(kTrailingZeroEntries);
  if (band_powers(kHrvBandEdgesHz, freq, amp, points, powers) <= 0) return false;
  const auto shown = static_cast<std::size_t>(points);
  spectrum.frequencyHz.assign(freq.begin(), freq.begin() + static_cast<std::ptrdiff_t>(shown));
  spectrum.power.resize(shown);
  for (std::size_t i = 0; i < shown; ++i) spectrum.power[i] = amp[i] * amp[i];
  return true;
}

// Time-domain statistics and spectrum over the first nRR intervals of the
// labelled series, as the library's HRV analysis takes them.
// Intervals whose beats lie on both sides of a gap (samples that are not
// numbers) are no NN intervals: their flag becomes 'V', which also keeps
// the interval after them out, and they leave the NN series.
void leave_out_gaps(const std::vector<Beat>& beats, const std::vector<StretchPlan>& gaps, RrSeries& rr) {
  std::vector<double> spanning;
  for (std::size_t i = 0; i < rr.flags.size() && i + 1 < beats.size(); ++i) {
    const bool across = std::any_of(gaps.begin(), gaps.end(), [&](const StretchPlan& g) {
      return beats[i].sample < g.first && beats[i + 1].sample >= g.first;
    });
    if (!across) continue;
    rr.flags[i] = static_cast<char>(kExtraSystoleIntervalFlag);
    spanning.push_back(rr.t[i]);
  }
  for (const double t : spanning) {
    const auto at = std::find(rr.nnT.begin(), rr.nnT.end(), t);
    if (at == rr.nnT.end()) continue;
    rr.nnRR.erase(rr.nnRR.begin() + (at - rr.nnT.begin()));
    rr.nnT.erase(at);
  }
}

void hrv_of(const std::vector<int32_t>& normal, const std::vector<int32_t>& extra, const std::vector<Beat>& beats,
            const std::vector<StretchPlan>& gaps, WholeRhythm& out) {
  const auto nRR = static_cast<int32_t>(normal.size()) - 1;
  if (nRR < kMinimumRrIntervalsForHrv) {
    out.hrv.error = kTooFewBeatsForHrv;
    out.hrv.note = "five or fewer normal beats: no HRV statistics";
    return;
  }
  const LabelledRRSeries series = labelled_rr_series(normal, extra, kRateHz);
  // With E extra systoles the last E intervals are left out, matching the NN series.
  const std::size_t n = std::min(static_cast<std::size_t>(nRR), series.flags.size());
  RrSeries& rr = out.rrSeries;
  rr.t.assign(series.t.begin(), series.t.begin() + static_cast<std::ptrdiff_t>(n));
  rr.rr.assign(series.rr.begin(), series.rr.begin() + static_cast<std::ptrdiff_t>(n));
  rr.flags.resize(n);
  for (std::size_t i = 0; i < n; ++i) rr.flags[i] = static_cast<char>(series.flags[i] & 0xFF);
  rr.nnT = series.nnT;
  rr.nnRR = series.nnRR;
  if (!gaps.empty()) leave_out_gaps(beats, gaps, rr);
  std::array<double, 7> time{};
  int32_t status = kAnalysisOk;
  time_domain_hrv(rr.t, rr.rr, rr.flags, time, status);
  out.hrv.timeDomain = time;
  std::array<double, 6> powers{};
  if (rr.nnT.size() > kFewestNNForSpectrum && !spectrum_and_band_powers(rr, out.spectrum, powers)) {
    out.hrv.error = kNoSpectrum;
    out.hrv.note = "no spectral point at or below 0.4 Hz: no frequency-domain values";
  } else {
    out.hrv.error = kAnalysisOk;
    out.hrv.frequencyDomain = powers;
  }
}

double sample_sd(double sum, double sumSquares, int64_t n) {
  const auto c = static_cast<double>(n);
  return std::sqrt(std::max(0.0, (sumSquares - sum * sum / c) / (c - 1.0)));
}

// Segments of recording time: beats counted by position, NN intervals (both
// beats normal; never the first interval) by the beat that ends them.
std::vector<SegmentRow> segment_table(const std::vector<Beat>& beats, int64_t analysedSamples, double startSeconds) {
  const auto width = static_cast<int64_t>(kSegmentTableSeconds * kRateHz);
  const int64_t count = (analysedSamples + width - 1) / width;
  std::vector<SegmentRow> rows(static_cast<std::size_t>(count));
  struct Sums {
    int64_t nn = 0, pairs = 0;
    double sum = 0.0, squares = 0.0, diffSquares = 0.0;
  };
  std::vector<Sums> sums(rows.size());
  for (std::size_t i = 0; i < beats.size(); ++i) {
    const auto seg = static_cast<std::size_t>(beats[i].sample / width);
    if (seg >= rows.size()) continue;
    (beats[i].extra ? rows[seg].extraSystoles : rows[seg].normalBeats) += 1;
    const bool nn = i >= 2 && !beats[i].extra && !beats[i - 1].extra;
    if (!nn) continue;
    const double rr = static_cast<double>(beats[i].sample - beats[i - 1].sample) / kRateHz;
    Sums& s = sums[seg];
    ++s.nn;
    s.sum += rr;
    s.squares += rr * rr;
    const bool previousNN = i >= 3 && !beats[i - 2].extra;
    if (previousNN && beats[i - 1].sample / width == static_cast<int64_t>(seg)) {
      const double before = static_cast<double>(beats[i - 1].sample - beats[i - 2].sample) / kRateHz;
      ++s.pairs;
      s.diffSquares += (rr - before) * (rr - before);
    }
  }
  for (std::size_t k = 0; k < rows.size(); ++k) {
    SegmentRow& r = rows[k];
    r.startSeconds = startSeconds + static_cast<double>(k) * kSegmentTableSeconds;
    r.endSeconds = startSeconds + static_cast<double>(std::min<int64_t>(static_cast<int64_t>(k + 1) * width, analysedSamples)) / kRateHz;
    const Sums& s = sums[k];
    r.nnIntervals = s.nn;
    if (s.nn >= 1) r.meanHrBpm = 60.0 / (s.sum / static_cast<double>(s.nn));
    if (s.nn >= 2) r.sdnnSeconds = sample_sd(s.sum, s.squares, s.nn);
    if (s.pairs >= 1) r.rmssdSeconds = std::sqrt(s.diffSquares / static_cast<double>(s.pairs));
  }
  return rows;
}

}  // namespace

WholeRhythm whole_rhythm(const std::vector<Beat>& beats, bool withHrv, int64_t analysedSamples,
                         double startSeconds, const std::vector<StretchPlan>& gaps) {
  WholeRhythm out;
  out.segments = segment_table(beats, analysedSamples, startSeconds);
  if (!withHrv) out.hrv.note = "not requested (--mode qrs)";
  const std::vector<int32_t> normal = positions_of(beats, false);
  const std::vector<int32_t> extra = positions_of(beats, true);
  const auto k = static_cast<int32_t>(normal.size());
  if (k <= 1) {
    out.error = kNoPlausibleRhythm;
    if (withHrv) {
      out.hrv.error = kNoPlausibleRhythm;
      out.hrv.note = "fewer than two normal beats: no HRV statistics";
    }
    return out;
  }
  out.hrBpm = heart_rate_from_median_rr(normal, k, kRateHz);
  out.hrMeanBpm = heart_rate_from_trimmed_mean(normal, k, extra, static_cast<int32_t>(extra.size()), kRateHz);
  if (*out.hrBpm < kLowestHeartRateBpm || *out.hrBpm > kHighestHeartRateBpm) {
    out.error = kNoPlausibleRhythm;
    if (withHrv) {
      out.hrv.error = kNoPlausibleRhythm;
      out.hrv.note = "heart rate outside 30..220 bpm: no HRV statistics";
    }
    return out;
  }
  if (withHrv) hrv_of(normal, extra, beats, gaps, out);
  return out;
}

}  // namespace zyn::recording
