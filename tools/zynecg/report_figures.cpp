// Poincaré descriptors, NN histogram, frequency table and heart-rate
// ranges of the report. See report_figures.hpp.
#include "report_figures.hpp"

#include <algorithm>
#include <cmath>

namespace zyn::cli {
namespace {

// Sample standard deviation from running sums.
double sample_sd(double sum, double sumOfSquares, std::size_t n) {
  const auto count = static_cast<double>(n);
  return std::sqrt(std::max(0.0, (sumOfSquares - sum * sum / count) / (count - 1.0)));
}

struct Band {
  const char* name;
  double fromHz, toHz;
};
// The library's bands (Hz); ULF starts at 0.
constexpr Band kBands[] = {{"ULF", 0.0, 0.0033}, {"VLF", 0.0033, 0.04}, {"LF", 0.04, 0.15}, {"HF", 0.15, 0.4}};

}  // namespace

std::optional<Poincare> poincare_descriptors(const BeatIntervals& series) {
  double across = 0, acrossSquares = 0, along = 0, alongSquares = 0;
  std::size_t pairs = 0;
  for (std::size_t i = 1; i < series.rrSeconds.size(); ++i) {
    if (!series.nn[i - 1] || !series.nn[i]) continue;
    const double x = series.rrSeconds[i - 1], y = series.rrSeconds[i];
    const double a = (x - y) / std::sqrt(2.0), b = (x + y) / std::sqrt(2.0);
    across += a;
    acrossSquares += a * a;
    along += b;
    alongSquares += b * b;
    ++pairs;
  }
  if (pairs < 2) return std::nullopt;
  return Poincare{sample_sd(across, acrossSquares, pairs), sample_sd(along, alongSquares, pairs), pairs};
}

Histogram nn_histogram(const BeatIntervals& series, double binSeconds) {
  Histogram h;
  h.binSeconds = binSeconds;
  double lo = INFINITY, hi = -INFINITY;
  for (std::size_t i = 0; i < series.rrSeconds.size(); ++i)
    if (series.nn[i]) {
      lo = std::min(lo, series.rrSeconds[i]);
      hi = std::max(hi, series.rrSeconds[i]);
    }
  if (!(lo <= hi)) return h;
  // Bins are indexed from a whole multiple of the width; the half-step
  // guard keeps an interval lying on a bin edge (in binary) in the upper bin.
  auto bin_of = [&](double rr) { return static_cast<int64_t>(std::floor(rr / binSeconds + 1e-9)); };
  const int64_t first = bin_of(lo);
  h.firstBinSeconds = static_cast<double>(first) * binSeconds;
  h.counts.assign(static_cast<std::size_t>(bin_of(hi) - first + 1), 0);
  for (std::size_t i = 0; i < series.rrSeconds.size(); ++i)
    if (series.nn[i]) ++h.counts[static_cast<std::size_t>(bin_of(series.rrSeconds[i]) - first)];
  return h;
}

std::vector<BandRow> frequency_table(std::span<const double, 6> power, std::span<const double> frequenciesHz,
                                     std::span<const double> pointPowers) {
  std::vector<BandRow> rows;
  const double total = power[0], lf = power[3], hf = power[4];
  for (std::size_t b = 0; b < std::size(kBands); ++b) {
    BandRow row{kBands[b].name, kBands[b].fromHz, kBands[b].toHz, power[b + 1], std::nullopt, 0, std::nullopt};
    double largest = -1;
    const std::size_t n = std::min(frequenciesHz.size(), pointPowers.size());
    for (std::size_t i = 0; i < n; ++i) {
      const double f = frequenciesHz[i];
      // The periodogram's unused tail holds frequency 0: not a spectral point.
      if (f <= 0 || f < row.fromHz || f > row.toHz) continue;
      if (pointPowers[i] > largest) {
        largest = pointPowers[i];
        row.peakHz = f;
      }
    }
    row.percentOfTotal = total > 0 ? 100.0 * row.powerSeconds2 / total : 0.0;
    if ((b == 2 || b == 3) && lf + hf > 0) row.normalisedUnits = 100.0 * row.powerSeconds2 / (lf + hf);
    rows.push_back(row);
  }
  return rows;
}

std::optional<RateRange> heart_rate_range(const BeatIntervals& series, double fromSeconds, double toSeconds) {
  const auto& t = series.endSeconds;
  const auto begin = static_cast<std::size_t>(std::lower_bound(t.begin(), t.end(), fromSeconds) - t.begin());
  const auto end = static_cast<std::size_t>(std::lower_bound(t.begin(), t.end(), toSeconds) - t.begin());
  std::optional<RateRange> range;
  double runSum = 0;
  std::size_t runLength = 0;
  for (std::size_t i = begin; i < end; ++i) {
    if (!series.nn[i]) {
      runSum = 0;
      runLength = 0;
      continue;
    }
    runSum += series.rrSeconds[i];
    if (++runLength > kTrendRunIntervals) runSum -= series.rrSeconds[i - kTrendRunIntervals];
    if (runLength < kTrendRunIntervals) continue;
    const double bpm = 60.0 * static_cast<double>(kTrendRunIntervals) / runSum;
    if (!range) range = RateRange{bpm, bpm};
    range->minBpm = std::min(range->minBpm, bpm);
    range->maxBpm = std::max(range->maxBpm, bpm);
  }
  return range;
}

}  // namespace zyn::cli
