// Frequency-domain HRV: the Lomb spectrum of an NN series limited to 0.4 Hz
// and integrated over the ULF, VLF, LF and HF bands (powers in s^2).
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace zyn {

// Pairs of lower and upper band edges in Hz: ULF, VLF, LF, HF. Both edges
// are inclusive, so a point on a shared edge counts in both bands.
inline constexpr std::array<double, 8> kHrvBandEdgesHz = {0.0,  0.0033, 0.0033, 0.04,
                                                          0.04, 0.15,   0.15,   0.4};
inline constexpr double kSpectrumLimitHz = 0.4;
inline constexpr int32_t kMaxBands = 10;
// Status of the frequency step when no spectrum could be integrated.
inline constexpr int32_t kStatusNoSpectrum = 4;

// Zeroes the entries above fmax and returns how many entries are left
// (entries with frequency 0 count as left).
uint64_t limit_frequencies(std::span<double> freq, std::span<double> amp, double fmax);

enum class BandPowerFailure : int32_t { kMalformedBandTable = -1, kTooFewPoints = -2 };

// Total power, band powers and the ratio of the last two bands of the first
// n points; returns the number of bands, or a negative BandPowerFailure code
// with out untouched. out needs nb + 2 elements.
int32_t band_powers(std::span<const double> edges, std::span<const double> freq,
                    std::span<const double> amp, int64_t n, std::span<double> out);

// Band-power record (tot, ulf, vlf, lf, hf, lf/hf) of the series (t, rr).
// Returns false, with the record untouched, when fewer than three spectral
// points lie at or below 0.4 Hz.
bool frequency_domain_hrv(std::span<const double> t, std::span<const double> rr,
                          std::span<double, 6> freqResults);

}  // namespace zyn
