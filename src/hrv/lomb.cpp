// Fast Lomb periodogram of an unevenly sampled RR series, in single precision.
//
// The series (times in seconds, values in seconds) is extirpolated onto a
// regular grid of ndim = 64 x capacity floats with 4-point Lagrange weights;
// the grid of the values and the grid of unit weights at doubled phase are
// transformed with two real FFTs, from which the Lomb normalised power
// (power / (2 variance)) is formed at frequencies j * df, df = 1 / (4 x span)
// Hz, up to twice the average Nyquist frequency. The HRV spectrum keeps the
// lower half and rescales it to amplitudes in seconds:
// sqrt(2 x power x variance / nout), whose squares sum to about the variance.
//
// Every work area is per call; the variance is also published in the
// exported float `pwr` for C callers, but nothing reads it back. The
// transforms are those of fft.hpp; the C routines are in lomb_c.cpp.
#include "hrv/lomb.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>

#include "hrv/fft.hpp"
#include "zynecgsolver/hrv.h"

extern "C" {
// Variance of the last series analysed by avevar (written, never read back).
alignas(std::atomic_ref<float>::required_alignment) ZYN_API float pwr = 0.0F;
}

namespace zyn {
namespace {

// Reporting hook of the periodogram: the conditions it names are handled by
// the caller (nothing is computed), so it deliberately does nothing.
void error(const char* /*message*/) {}

// (m - 1)! for m extirpolation points; entry 0 is never used.
constexpr int32_t kFactorial[kMaxExtirpolationPoints + 1] = {0,   1,    1,     2,      6,     24,
                                                             120, 720, 5040, 40320, 362880};
// Counts beyond this are not grids any machine can hold; they saturate.
constexpr double kMaxGridCount = 4611686018427387904.0;  // 2^62

uint64_t to_count(double v) {
  if (!(v > 0.0)) return 0;  // negative, zero or NaN
  if (v >= kMaxGridCount) return static_cast<uint64_t>(kMaxGridCount);
  return static_cast<uint64_t>(v);
}

std::unique_ptr<float[]> try_allocate_floats(uint64_t count) {
  if (count > static_cast<uint64_t>(std::numeric_limits<std::ptrdiff_t>::max()) / sizeof(float))
    return nullptr;
  return std::unique_ptr<float[]>(new (std::nothrow) float[static_cast<std::size_t>(count)]);
}

// Grid position (0-based, before the +1 of the extirpolation) reduced into
// [0, ndim). Subtracting the power-of-two ndim is exact while it changes the
// value, so the remainder equals the repeated subtraction wherever that
// terminates.
float reduce_modulo(float position, float fndim) {
  return position >= fndim ? std::fmod(position, fndim) : position;
}

}  // namespace

void publish_variance(float variance) noexcept {
  std::atomic_ref<float>(pwr).store(variance, std::memory_order_relaxed);
}

MeanVariance mean_and_variance(std::span<const float> data) {
  const auto n = static_cast<float>(data.size());
  float sum = 0.0F;
  for (float v : data) sum += v;
  const float ave = sum / n;
  float var = 0.0F;
  float ep = 0.0F;
  for (float v : data) {
    const float s = v - ave;
    ep += s;
    var += s * s;
  }
  var = (var - ep * ep / n) / (n - 1.0F);
  publish_variance(var);
  return {ave, var};
}

void extirpolate(std::span<float> yy, int32_t m, float y, float x) {
  if (m < 1 || m > kMaxExtirpolationPoints) {
    error("factorial table too small");
    return;
  }
  if (!std::isfinite(x)) return;
  const auto n = static_cast<int64_t>(yy.size());
  if (x == std::floor(x)) {
    if (x >= 1.0F && static_cast<double>(x) <= static_cast<double>(n))
      yy[static_cast<std::size_t>(x) - 1] += y;
    return;
  }
  if (n < m) return;
  const double lowest = std::floor(static_cast<double>(x) - 0.5 * m + 1.0);
  const auto ilo = static_cast<int64_t>(
      std::min(std::max(lowest, 1.0), static_cast<double>(n - m + 1)));
  const int64_t ihi = ilo + m - 1;
  int64_t nden = kFactorial[m];
  float fac = x - static_cast<float>(ilo);
  for (int64_t j = ilo + 1; j <= ihi; ++j) fac *= x - static_cast<float>(j);
  yy[static_cast<std::size_t>(ihi - 1)] +=
      y * fac / (static_cast<float>(nden) * (x - static_cast<float>(ihi)));
  for (int64_t j = ihi - 1; j >= ilo; --j) {
    nden = (nden / (j + 1 - ilo)) * (j - ihi);
    yy[static_cast<std::size_t>(j - 1)] +=
        y * fac / (static_cast<float>(nden) * (x - static_cast<float>(j)));
  }
}

LombGrid lomb_grid(uint64_t n, float ofac, float hifac) {
  const double points = static_cast<double>(n);
  const uint64_t nout = to_count(std::floor(0.5 * ofac * hifac * points));
  const uint64_t nfreqt =
      to_count(static_cast<double>(ofac) * hifac * points * kExtirpolationPoints);
  uint64_t nfreq = 64;
  while (nfreq < nfreqt) nfreq <<= 1;
  return {nout, nfreq << 1};
}

LombResult fast_lomb_periodogram(std::span<const float> x, std::span<const float> y, float ofac,
                                 float hifac, std::span<float> wk1, std::span<float> wk2) {
  const std::size_t n = std::min(x.size(), y.size());
  const LombGrid grid = lomb_grid(n, ofac, hifac);
  const uint64_t ndim = grid.gridSize;
  if (wk1.size() < ndim || wk2.size() < ndim) {
    error("workspaces too small\n");
    return {};
  }
  // Frequency j reads grid elements 2j + 1 and 2j + 2.
  const uint64_t nout = std::min<uint64_t>(grid.frequencies, ndim / 2 - 1);
  wk1 = wk1.first(ndim);
  wk2 = wk2.first(ndim);

  const MeanVariance mv = mean_and_variance(y.first(n));
  float xmin = n > 0 ? x[0] : 0.0F;
  float xmax = xmin;
  for (std::size_t j = 1; j < n; ++j) {
    if (x[j] < xmin) xmin = x[j];
    if (x[j] > xmax) xmax = x[j];
  }
  const float xdif = xmax - xmin;
  std::fill(wk1.begin(), wk1.end(), 0.0F);
  std::fill(wk2.begin(), wk2.end(), 0.0F);
  const float fndim = static_cast<float>(ndim);
  const float fac = fndim / (xdif * ofac);
  for (std::size_t j = 0; j < n; ++j) {
    const float ck = reduce_modulo((x[j] - xmin) * fac, fndim);
    const float ckk = reduce_modulo(2.0F * ck, fndim);
    extirpolate(wk1, kExtirpolationPoints, y[j] - mv.mean, ck + 1.0F);
    extirpolate(wk2, kExtirpolationPoints, 1.0F, ckk + 1.0F);
  }
  real_fft_pair(wk1, wk2, 1);

  const float df = 1.0F / (xdif * ofac);
  const float points = static_cast<float>(n);
  const float scale = 1.0F / (2.0F * mv.variance);
  float pmax = -1.0F;
  LombResult result;
  result.frequencies = nout;
  result.variance = mv.variance;
  for (uint64_t j = 1; j <= nout; ++j) {
    const std::size_t k = 2 * j;  // 0-based storage of 1-based position 2j + 1
    const float c2 = wk2[k];
    const float s2 = wk2[k + 1];
    const float c1 = wk1[k];
    const float s1 = wk1[k + 1];
    const float hypo = std::sqrt(c2 * c2 + s2 * s2);
    const float hc2wt = 0.5F * c2 / hypo;
    const float hs2wt = 0.5F * s2 / hypo;
    const float cwt = std::sqrt(0.5F + hc2wt);
    float swt = std::sqrt(0.5F - hc2wt);
    if (hs2wt <= 0.0F) swt = -swt;
    const float den = 0.5F * points + hc2wt * c2 + hs2wt * s2;
    const float cosine = cwt * c1 + swt * s1;
    const float sine = cwt * s1 - swt * c1;
    const float cterm = cosine * cosine / den;
    const float sterm = sine * sine / (points - den);
    wk1[j - 1] = static_cast<float>(j) * df;
    wk2[j - 1] = (cterm + sterm) * scale;
    if (wk2[j - 1] > pmax) {
      pmax = wk2[j - 1];
      result.peakIndex = j;
    }
  }
  const float expy = std::exp(-pmax);
  const float effm = 2.0F * static_cast<float>(nout) / ofac;
  result.falseAlarm = effm * expy;
  if (result.falseAlarm > 0.01F) result.falseAlarm = 1.0F - std::pow(1.0F - expy, effm);
  return result;
}

LombWorkspaceSize lomb_workspace_size(uint64_t n) {
  constexpr uint64_t kMinimumCapacity = 512;
  constexpr uint64_t kGridPerPoint = 64;
  uint64_t cap = kMinimumCapacity;
  while (cap < n && cap < (uint64_t{1} << 56)) cap <<= 1;
  return {cap, kGridPerPoint * cap};
}

bool lomb_spectrum(std::span<const double> t, std::span<const double> rr,
                   std::span<double> freqOut, std::span<double> ampOut) {
  const std::size_t n = std::min(t.size(), rr.size());
  const LombWorkspaceSize size = lomb_workspace_size(n);
  // One block holds the two point arrays and the two grids: a single large
  // allocation is served again from the heap by the next call instead of
  // being returned to the system and faulted in afresh each time.
  const auto block = try_allocate_floats(2 * size.points + 2 * size.grid);
  if (!block) {
    error("insufficient memory");
    return false;
  }
  float* const x = block.get();
  float* const y = x + size.points;
  float* const wk1 = y + size.points;
  float* const wk2 = wk1 + size.grid;
  // The first point of the series is not used: its time is the origin.
  const std::size_t points = n > 0 ? n - 1 : 0;
  for (std::size_t k = 0; k < points; ++k) {
    x[k] = static_cast<float>(t[k + 1]);
    y[k] = static_cast<float>(rr[k + 1]);
  }
  const LombResult lomb = fast_lomb_periodogram(
      std::span<const float>(x, points), std::span<const float>(y, points), kLombOversampling,
      kLombHighFrequencyFactor, std::span<float>(wk1, size.grid), std::span<float>(wk2, size.grid));
  const uint64_t delivered =
      std::min<uint64_t>({lomb.frequencies / 2, freqOut.size(), ampOut.size()});
  const double perFrequency = 1.0 / static_cast<double>(lomb.frequencies);
  for (std::size_t i = 0; i < delivered; ++i) {
    freqOut[i] = static_cast<double>(wk1[i]);
    ampOut[i] = std::sqrt(static_cast<double>(wk2[i]) * 2.0 *
                          static_cast<double>(lomb.variance) * perFrequency);
  }
  return true;
}

}  // namespace zyn
