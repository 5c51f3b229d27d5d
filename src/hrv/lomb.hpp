// Fast Lomb periodogram of an unevenly sampled series, in single precision.
//
// The points are extirpolated onto a regular grid, the grid and its doubled
// frequency twin are transformed with two real FFTs, and the Lomb normalised
// power is formed at evenly spaced frequencies j * df (Hz when x is in s);
// the transforms are those of fft.hpp.
// Array positions are 1-based in the descriptions below; storage is 0-based
// (position k is element k - 1).
#pragma once

#include <cstdint>
#include <span>

namespace zyn {

// Oversampling and highest-frequency factors and extirpolation points used
// by the HRV spectrum.
inline constexpr float kLombOversampling = 4.0F;
inline constexpr float kLombHighFrequencyFactor = 2.0F;
inline constexpr int32_t kExtirpolationPoints = 4;
// Largest number of extirpolation points the factorial table serves.
inline constexpr int32_t kMaxExtirpolationPoints = 10;

struct MeanVariance {
  float mean;
  float variance;
};

// Mean and sample variance (with the rounding-error correction term), all in
// float. Also publishes the variance in the exported `pwr`.
MeanVariance mean_and_variance(std::span<const float> data);

// Adds y at fractional grid position x (1-based) of yy using m-point
// Lagrange extirpolation. Positions that would fall outside yy are ignored.
void extirpolate(std::span<float> yy, int32_t m, float y, float x);

// Grid sizing of the periodogram for n points.
struct LombGrid {
  uint64_t frequencies;  // nout: number of frequencies computed
  uint64_t gridSize;     // ndim: floats needed in each workspace
};
LombGrid lomb_grid(uint64_t n, float ofac, float hifac);

struct LombResult {
  uint64_t frequencies = 0;  // nout; 0 when the workspaces were too small
  uint64_t peakIndex = 0;    // jmax, 1-based (0 when nothing was computed)
  float falseAlarm = 0.0F;   // prob of the highest peak
  float variance = 0.0F;     // variance of y used to normalise the power
};

// The fast periodogram of the points (x(k), y(k)). On return wk1(1..nout)
// holds the frequencies j * df and wk2(1..nout) the normalised powers.
// Workspaces smaller than the grid leave them untouched and report 0
// frequencies.
LombResult fast_lomb_periodogram(std::span<const float> x, std::span<const float> y, float ofac,
                                 float hifac, std::span<float> wk1, std::span<float> wk2);

// Spectrum of an RR series for the band powers: the periodogram of points
// 2..n of (t, rr) in seconds, delivered as frequencies (Hz) and amplitudes
// sqrt(2 * power * variance / nout) (s) for the lower half of the computed
// frequencies, up to the average Nyquist frequency. Entries beyond those (or
// beyond the output spans) are left as they are. Returns false, with outputs
// untouched, when the workspaces cannot be allocated.
bool lomb_spectrum(std::span<const double> t, std::span<const double> rr,
                   std::span<double> freqOut, std::span<double> ampOut);

// Floats in each of the four periodogram workspaces for n series points:
// x and y hold `points`, wk1 and wk2 `grid` (64 times the points capacity).
struct LombWorkspaceSize {
  uint64_t points;
  uint64_t grid;
};
LombWorkspaceSize lomb_workspace_size(uint64_t n);

// Publishes a variance in the exported `pwr` (relaxed store; never read back).
void publish_variance(float variance) noexcept;

}  // namespace zyn
