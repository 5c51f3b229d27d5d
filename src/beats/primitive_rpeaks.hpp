// Coarse R-peak detector: zero-phase fixed band-pass and windowed maxima.
#pragma once

#include <array>
#include <span>
#include <vector>

namespace zyn::beats {

// Transposed direct form II of the fixed fourth-order band-pass (edges at 0.1
// and 0.3 of the Nyquist frequency, whatever fs is), starting from state zi.
std::vector<double> band_pass(std::span<const double> x, const std::array<double, 4>& zi);
// The same into y (y may be x itself: each output depends only on its input).
void band_pass_into(std::span<const double> x, const std::array<double, 4>& zi, std::span<double> y);

// 1-based positions of the samples whose zero-phase band-passed value exceeds
// 0.3 of the filtered maximum and is the strict maximum of the candidates
// within round(0.2 fs) samples; K zeros when K candidates exist but none is
// accepted; empty for no candidate or fewer than 13 samples.
std::vector<double> primitive_rpeaks(std::span<const double> x, double fs);
// The same with the filtered signal in scratch, of at least
// primitive_scratch_samples(x.size()) samples (empty result when shorter).
std::size_t primitive_scratch_samples(std::size_t n);
std::vector<double> primitive_rpeaks(std::span<const double> x, double fs, std::span<double> scratch);

// The peak picking alone, on an already filtered signal f.
std::vector<double> pick_coarse_peaks(std::span<const double> f, double fs);

}  // namespace zyn::beats
