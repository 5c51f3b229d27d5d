// Numbers the report shows that the analysis library does not compute: the
// Poincaré descriptors SD1 and SD2, the histogram of NN intervals, each
// spectral band's peak frequency and share, LF and HF in normalised units,
// and the slowest and fastest heart rate of each trend segment. Intervals
// are in seconds, frequencies in Hz, band powers in s² (as the library
// gives them); results keep those units.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace zyn::cli {

// An RR interval series with, for each interval, whether it is an NN
// interval (both of its beats are normal beats).
struct BeatIntervals {
  std::vector<double> endSeconds;  // time of the beat that ends each interval
  std::vector<double> rrSeconds;
  std::vector<uint8_t> nn;
};

// SD1 and SD2 of the Poincaré plot (each NN interval against the next one):
// the sample standard deviations of the points across and along the
// identity line, (x - y) / sqrt 2 and (x + y) / sqrt 2. Only pairs of
// successive NN intervals count. Empty below two pairs.
struct Poincare {
  double sd1Seconds = 0, sd2Seconds = 0;
  std::size_t pairs = 0;
};
std::optional<Poincare> poincare_descriptors(const BeatIntervals& series);

// Counts of NN intervals in bins of binSeconds starting at a whole multiple
// of the bin width; the first bin holds the shortest interval.
struct Histogram {
  double firstBinSeconds = 0, binSeconds = 0;
  std::vector<uint32_t> counts;
};
// RR intervals are whole 5 ms steps at 200 Hz: a bin of 10 ms holds exactly
// two steps, so no bin gets more steps than its neighbours.
inline constexpr double kHistogramBinSeconds = 0.010;
Histogram nn_histogram(const BeatIntervals& series, double binSeconds = kHistogramBinSeconds);

// One row of the frequency table. Bands are closed at both edges, as the
// library integrates them.
struct BandRow {
  std::string name;
  double fromHz = 0, toHz = 0;
  double powerSeconds2 = 0;            // the library's band power
  std::optional<double> peakHz;        // frequency of the largest spectral power in the band
  double percentOfTotal = 0;
  std::optional<double> normalisedUnits;  // LF and HF only: share of LF + HF, in %
};
// power: the library's record {total, ULF, VLF, LF, HF, LF/HF} in s²;
// frequencies and pointPowers: its periodogram, the power of each point in
// s² (the band powers are their sums).
std::vector<BandRow> frequency_table(std::span<const double, 6> power, std::span<const double> frequenciesHz,
                                     std::span<const double> pointPowers);

// Slowest and fastest heart rate (beats/min) in [fromSeconds, toSeconds):
// extremes of the mean of kTrendRunIntervals successive NN intervals, so
// that a single missed or extra beat does not set them. Empty when the
// span holds fewer NN intervals than that.
inline constexpr std::size_t kTrendRunIntervals = 8;
struct RateRange {
  double minBpm = 0, maxBpm = 0;
};
std::optional<RateRange> heart_rate_range(const BeatIntervals& series, double fromSeconds, double toSeconds);

}  // namespace zyn::cli
