// Coarse R-peak detector used only for the short-RR flag.
//
// Input: samples in any unit (only ratios to the filtered maximum matter),
// sampling rate fs in Hz. The band-pass coefficients are fixed, so its pass
// band (fs/20 .. 3 fs/20, 10 .. 30 Hz at 200 Hz) moves with fs. The signal is
// reflected by 12 samples at each end and filtered forwards and backwards so
// the peaks are not delayed. Output: ascending 1-based sample positions.
#include "beats/primitive_rpeaks.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "beats/detection_kernels.hpp"
#include "runtime/emx.hpp"
#include "runtime/sample_pool.hpp"
#include "runtime/scalar.hpp"
#include "toolbox/search_sort.hpp"
#include "zynecgsolver/beats.h"

namespace zyn::beats {
namespace {

constexpr double kB0 = 0.067455273889072;
constexpr double kB2 = -0.134910547778145;  // the stored literal, not -2 * kB0
constexpr double kB4 = 0.067455273889072;
constexpr double kA1 = -2.673578905120266;
constexpr double kA2 = 2.992361804127894;
constexpr double kA3 = -1.67457731463526;
constexpr double kA4 = 0.412801598096188;

// Steady state of the filter for a constant input of 1, scaled by the first
// sample so that the zero-phase pass starts without a transient.
constexpr std::array<double, 4> kUnitStepState = {-0.06745527388909, -0.067455273889042,
                                                  0.067455273889049, 0.067455273889079};
constexpr std::size_t kReflectedSamples = 12;
constexpr std::size_t kMinimumSamples = kReflectedSamples + 1;
constexpr double kHalfWindowSeconds = 0.2;
constexpr double kThresholdOfMaximum = 0.3;

// Transposed direct form II over count samples, the k-th read from in(k)
// and written to out(k), from state zi.
template <class In, class Out>
void band_pass_along(std::size_t count, const std::array<double, 4>& zi, In in, Out out) {
  double z1 = zi[0], z2 = zi[1], z3 = zi[2], z4 = zi[3];
  for (std::size_t k = 0; k < count; ++k) {
    const double v = in(k);
    const double y = kB0 * v + z1;
    z1 = z2 - kA1 * y;
    z2 = kB2 * v + z3 - kA2 * y;
    z3 = z4 - kA3 * y;
    z4 = kB4 * v - kA4 * y;
    out(k) = y;
  }
}

// One pass of the band-pass over p in place, from the first sample to the
// last or (Backward) from the last to the first, starting from the steady
// state for the pass's first sample. Running backwards over the samples is
// filtering the reversed signal, without reversing it twice.
template <bool Backward>
void filter_in_place(std::span<double> p) {
  const double first = Backward ? p.back() : p.front();
  std::array<double, 4> zi{};
  for (std::size_t i = 0; i < 4; ++i) zi[i] = first * kUnitStepState[i];
  const std::size_t n = p.size();
  band_pass_along(n, zi, [p, n](std::size_t k) -> double& { return p[Backward ? n - 1 - k : k]; },
                  [p, n](std::size_t k) -> double& { return p[Backward ? n - 1 - k : k]; });
}

// Reflection about the end samples, then the forward and the backward pass;
// the filtered x is p's middle.
void zero_phase_band_pass(std::span<const double> x, std::span<double> p) {
  const std::size_t n = x.size();
  const std::size_t pad = kReflectedSamples;
  for (std::size_t i = 1; i <= pad; ++i) p[i - 1] = 2.0 * x[0] - x[pad + 1 - i];
  std::copy(x.begin(), x.end(), p.begin() + static_cast<std::ptrdiff_t>(pad));
  for (std::size_t i = 1; i <= pad; ++i) p[n + pad + i - 1] = 2.0 * x[n - 1] - x[n - 1 - i];
  filter_in_place<false>(p);
  filter_in_place<true>(p);
}

// The running maximum "keep unless beaten": a NaN is passed on until a later
// sample displaces it.
double running_max(std::span<const double> f) {
  double m = f[0];
  if (largest_if_no_nan(f, m)) return m;
  for (std::size_t i = 1; i < f.size(); ++i) m = m > f[i] ? m : f[i];
  return m;
}

}  // namespace

std::vector<double> band_pass(std::span<const double> x, const std::array<double, 4>& zi) {
  std::vector<double> y(x.size());
  band_pass_into(x, zi, y);
  return y;
}

void band_pass_into(std::span<const double> x, const std::array<double, 4>& zi, std::span<double> y) {
  band_pass_along(x.size(), zi, [x](std::size_t k) { return x[k]; },
                  [y](std::size_t k) -> double& { return y[k]; });
}

std::size_t primitive_scratch_samples(std::size_t n) { return n + 2 * kReflectedSamples; }

std::vector<double> primitive_rpeaks(std::span<const double> x, double fs, std::span<double> scratch) {
  if (x.size() < kMinimumSamples || scratch.size() < primitive_scratch_samples(x.size())) return {};
  const std::span<double> padded = scratch.first(primitive_scratch_samples(x.size()));
  zero_phase_band_pass(x, padded);
  return pick_coarse_peaks(std::span<const double>(padded).subspan(kReflectedSamples, x.size()), fs);
}

std::vector<double> primitive_rpeaks(std::span<const double> x, double fs) {
  PooledSamples padded(PooledSamples::Overwritten{primitive_scratch_samples(x.size())});
  return primitive_rpeaks(x, fs, *padded);
}

std::vector<double> pick_coarse_peaks(std::span<const double> f, double fs) {
  const std::size_t n = f.size();
  if (n == 0) return {};
  // Candidates: every sample above 0.3 of the filtered maximum (1-based).
  const double threshold = kThresholdOfMaximum * running_max(f);
  const std::vector<int64_t> idx = positions_above(f, threshold);
  const std::size_t count_k = idx.size();
  std::vector<double> rpeaks(count_k, 0.0);
  if (count_k == 0) return rpeaks;

  const int64_t w = to_int32_saturated(kHalfWindowSeconds * fs);
  const int64_t last = idx.back();
  const auto N = static_cast<int64_t>(n);
  // A candidate is a peak when it is the strict maximum of the candidates
  // within w samples of it (up to the last candidate). Every other sample of
  // that window is at most the threshold, or NaN, so it cannot reach the
  // candidate's value: the test can read the samples themselves.
  const auto is_strict_maximum = [&](int64_t here) {
    const double peak = f[static_cast<std::size_t>(here - 1)];
    const int64_t left = std::max<int64_t>(1, here - w);
    const int64_t right = std::min(here + w, last);
    // Most candidates lie on the rising or falling edge of a wave and are
    // beaten by a neighbouring sample: settled without scanning the window.
    if (here < right && f[static_cast<std::size_t>(here)] >= peak) return false;
    if (left < here && f[static_cast<std::size_t>(here - 2)] >= peak) return false;
    const bool beatenBefore = left < here && any_at_least(f, static_cast<std::size_t>(left - 1),
                                                          static_cast<std::size_t>(here - 2), peak);
    return !beatenBefore && !(here < right && any_at_least(f, static_cast<std::size_t>(here),
                                                           static_cast<std::size_t>(right - 1), peak));
  };

  std::size_t k = 0;  // 0-based place in idx
  std::size_t count = 0;
  for (;;) {
    const int64_t here = idx[k];
    if (here != 1 && here != N && is_strict_maximum(here)) rpeaks[count++] = static_cast<double>(here);
    if (k + 1 >= count_k || count >= count_k) break;
    ++k;
    if (count > 0) {
      // Refractory skip: candidates up to w samples after the last accepted
      // peak cannot be a strict maximum of their window.
      const int64_t t = std::min(static_cast<int64_t>(rpeaks[count - 1]) + w, last - 1);
      if (idx[k] <= t) k = static_cast<std::size_t>(std::upper_bound(idx.begin(), idx.end(), t) - idx.begin());
    }
  }
  if (count > 0) rpeaks.resize(count);
  return rpeaks;
}

}  // namespace zyn::beats

extern "C" {

ZYN_API void m_filter(const emxArray_real_T* x, const real_T zi[4], emxArray_real_T* y) {
  zyn::guarded([&] {
    std::array<double, 4> state{};
    if (zi != nullptr) std::copy(zi, zi + 4, state.begin());
    const std::vector<double> out = zyn::beats::band_pass(zyn::column(x), state);
    zyn::assign(y, {static_cast<int32_t>(out.size()), 1}, std::span<const double>(out));
  });
}

ZYN_API void m_primitive_rpeaks_offline(const emxArray_real_T* signal, real_T fs,
                                        emxArray_real_T* rpeaks) {
  zyn::guarded([&] {
    zyn::assign_row(rpeaks, zyn::beats::primitive_rpeaks(zyn::column(signal), fs));
  });
}

}  // extern "C"
