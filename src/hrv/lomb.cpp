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
// exported float `pwr` for C callers, but nothing reads it back.
#include "hrv/lomb.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "runtime/emx.hpp"
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

constexpr double kTwoPi = 6.28318530717959;
constexpr double kPi = 3.141592653589793;
// (m - 1)! for m extirpolation points; entry 0 is never used.
constexpr int32_t kFactorial[kMaxExtirpolationPoints + 1] = {0,   1,    1,     2,      6,     24,
                                                             120, 720, 5040, 40320, 362880};
// Twiddle factors of one FFT stage are produced in blocks of this many so
// that each stage streams through the data once (same values, same order of
// the recurrence, cache-friendly butterflies).
constexpr std::size_t kTwiddleBlock = 1024;
// Counts beyond this are not grids any machine can hold; they saturate.
constexpr double kMaxGridCount = 4611686018427387904.0;  // 2^62

bool is_power_of_two(uint64_t v) { return v != 0 && (v & (v - 1)) == 0; }

uint64_t to_count(double v) {
  if (!(v > 0.0)) return 0;  // negative, zero or NaN
  if (v >= kMaxGridCount) return static_cast<uint64_t>(kMaxGridCount);
  return static_cast<uint64_t>(v);
}

// The transforms run on one array or on several arrays of the same length
// at once; the twiddle recurrences are then evaluated once for all of them.
using Arrays = std::span<const std::span<float>>;

constexpr std::array<uint8_t, 256> kByteReversed = [] {
  std::array<uint8_t, 256> t{};
  for (unsigned v = 0; v < 256; ++v) {
    unsigned r = 0;
    for (unsigned b = 0; b < 8; ++b) r |= ((v >> b) & 1U) << (7 - b);
    t[v] = static_cast<uint8_t>(r);
  }
  return t;
}();

// k with its lowest `bits` bits in reverse order (1 <= bits <= 64).
uint64_t reverse_bits(uint64_t k, unsigned bits) {
  uint64_t r = 0;
  for (unsigned byte = 0; byte < (bits + 7) / 8; ++byte, k >>= 8) r = (r << 8) | kByteReversed[k & 0xFF];
  return r >> ((bits + 7) / 8 * 8 - bits);
}

// Puts complex element k at the bit-reversed position of k, as the classic
// counter loop of the transform does (pure data movement).
void bit_reverse(Arrays arrays, std::size_t nn) {
  if (nn < 2) return;
  const auto bits = static_cast<unsigned>(std::countr_zero(nn));
  for (std::size_t k = 0; k < nn; ++k) {
    const auto r = static_cast<std::size_t>(reverse_bits(k, bits));
    if (r <= k) continue;
    for (std::span<float> data : arrays) {
      std::swap(data[2 * r], data[2 * k]);
      std::swap(data[2 * r + 1], data[2 * k + 1]);
    }
  }
}

// Butterflies q = 0 .. count-1 of every block of a stage: complex elements
// lo + 2q and hi + 2q (lo = data + block + m0, hi = lo + mmax, blocks every
// 2 mmax floats) with twiddle (tw[2q], tw[2q+1]) = (wr, wi). Every variant
// performs, per butterfly, exactly
//   tempr = float(wr * hr - wi * hi_), tempi = float(wr * hi_ + wi * hr)  (double)
//   hi = lo - temp, lo = lo + temp                                           (float)
// so all give bit-identical results; the vector forms only do two at once.
using ButterflyRun = void (*)(float* lo, float* hi, const double* tw, std::size_t count);
using StageRun = void (*)(std::span<float> data, std::size_t mmax, std::size_t m0,
                          const double* tw, std::size_t count);

template <ButterflyRun kRun>
void run_stage_blocks(std::span<float> data, std::size_t mmax, std::size_t m0, const double* tw,
                      std::size_t count) {
  for (std::size_t block = 0; block < data.size(); block += 2 * mmax) {
    float* lo = data.data() + block + m0;
    kRun(lo, lo + mmax, tw, count);
  }
}

inline void butterflies_scalar(float* lo, float* hi, const double* tw, std::size_t count) {
  for (std::size_t q = 0; q < count; ++q) {
    float* a = lo + 2 * q;
    float* b = hi + 2 * q;
    const double wr = tw[2 * q];
    const double wi = tw[2 * q + 1];
    const auto tempr = static_cast<float>(wr * b[0] - wi * b[1]);
    const auto tempi = static_cast<float>(wr * b[1] + wi * b[0]);
    b[0] = a[0] - tempr;
    b[1] = a[1] - tempi;
    a[0] += tempr;
    a[1] += tempi;
  }
}

#if defined(__x86_64__)
// (wr * br - wi * bi, wr * bi + wi * br) of one complex value in double:
// wr * br + (-wi) * bi equals wr * br - wi * bi exactly.
inline __m128d twiddle_product(__m128d w, __m128d b) {
  const __m128d negateLow = _mm_set_pd(0.0, -0.0);
  const __m128d wr = _mm_unpacklo_pd(w, w);
  const __m128d wi = _mm_xor_pd(_mm_unpackhi_pd(w, w), negateLow);
  const __m128d swapped = _mm_shuffle_pd(b, b, 1);
  return _mm_add_pd(_mm_mul_pd(wr, b), _mm_mul_pd(wi, swapped));
}

inline void butterflies_sse2(float* lo, float* hi, const double* tw, std::size_t count) {
  std::size_t q = 0;
  for (; q + 2 <= count; q += 2) {
    const __m128 b = _mm_loadu_ps(hi + 2 * q);
    const __m128d t0 = twiddle_product(_mm_loadu_pd(tw + 2 * q), _mm_cvtps_pd(b));
    const __m128d t1 = twiddle_product(_mm_loadu_pd(tw + 2 * q + 2), _mm_cvtps_pd(_mm_movehl_ps(b, b)));
    const __m128 temp = _mm_movelh_ps(_mm_cvtpd_ps(t0), _mm_cvtpd_ps(t1));
    const __m128 a = _mm_loadu_ps(lo + 2 * q);
    _mm_storeu_ps(hi + 2 * q, _mm_sub_ps(a, temp));
    _mm_storeu_ps(lo + 2 * q, _mm_add_ps(a, temp));
  }
  butterflies_scalar(lo + 2 * q, hi + 2 * q, tw + 2 * q, count - q);
}

__attribute__((target("avx"))) inline void butterflies_avx(float* lo, float* hi,
                                                            const double* tw, std::size_t count) {
  const __m256d negateEven = _mm256_set_pd(0.0, -0.0, 0.0, -0.0);
  std::size_t q = 0;
  for (; q + 2 <= count; q += 2) {
    const __m256d b = _mm256_cvtps_pd(_mm_loadu_ps(hi + 2 * q));  // br0 bi0 br1 bi1
    const __m256d w = _mm256_loadu_pd(tw + 2 * q);                // wr0 wi0 wr1 wi1
    const __m256d wr = _mm256_permute_pd(w, 0x0);
    const __m256d wi = _mm256_xor_pd(_mm256_permute_pd(w, 0xF), negateEven);
    const __m256d swapped = _mm256_permute_pd(b, 0x5);
    const __m128 temp =
        _mm256_cvtpd_ps(_mm256_add_pd(_mm256_mul_pd(wr, b), _mm256_mul_pd(wi, swapped)));
    const __m128 a = _mm_loadu_ps(lo + 2 * q);
    _mm_storeu_ps(hi + 2 * q, _mm_sub_ps(a, temp));
    _mm_storeu_ps(lo + 2 * q, _mm_add_ps(a, temp));
  }
  butterflies_scalar(lo + 2 * q, hi + 2 * q, tw + 2 * q, count - q);
}

__attribute__((target("avx"))) void run_stage_blocks_avx(std::span<float> data, std::size_t mmax,
                                                          std::size_t m0, const double* tw,
                                                          std::size_t count) {
  for (std::size_t block = 0; block < data.size(); block += 2 * mmax) {
    float* lo = data.data() + block + m0;
    butterflies_avx(lo, lo + mmax, tw, count);
  }
}

StageRun stage_for(FftKernel kernel) {
  static const bool hasAvx = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx") != 0;
  }();
  switch (kernel) {
    case FftKernel::kScalar:
      return run_stage_blocks<butterflies_scalar>;
    case FftKernel::kSse2:
      return run_stage_blocks<butterflies_sse2>;
    case FftKernel::kAvx:
    case FftKernel::kFastest:
      break;
  }
  return hasAvx ? run_stage_blocks_avx : run_stage_blocks<butterflies_sse2>;
}
#else
StageRun stage_for(FftKernel) { return run_stage_blocks<butterflies_scalar>; }
#endif

// One butterfly stage of span mmax (floats); the twiddles follow the
// recurrence w <- w + w (wpr + i wpi) started at 1, produced in blocks that
// are then applied to every block of the data.
void butterfly_stage(Arrays arrays, std::size_t mmax, int32_t isign, std::span<double> twiddles,
                     StageRun run) {
  const std::size_t perBlock = twiddles.size() / 2;
  const double theta = isign * kTwoPi / static_cast<double>(mmax);
  const double wtemp0 = std::sin(0.5 * theta);
  const double wpr = -2.0 * wtemp0 * wtemp0;
  const double wpi = std::sin(theta);
  double wr = 1.0;
  double wi = 0.0;
  for (std::size_t m0 = 0; m0 < mmax; m0 += 2 * perBlock) {
    const std::size_t count = std::min(perBlock, (mmax - m0) / 2);
    for (std::size_t q = 0; q < count; ++q) {
      twiddles[2 * q] = wr;
      twiddles[2 * q + 1] = wi;
      const double wtemp = wr;
      wr = wtemp * wpr - wi * wpi + wr;
      wi = wi * wpr + wtemp * wpi + wi;
    }
    for (std::span<float> data : arrays) run(data, mmax, m0, twiddles.data(), count);
  }
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

namespace {

// Complex transform of arrays of 2 nn floats each (nn a power of two).
void complex_fft_all(Arrays arrays, std::size_t nn, int32_t isign, FftKernel kernel) {
  bit_reverse(arrays, nn);
  double twiddles[2 * kTwiddleBlock];
  for (std::size_t mmax = 2; 2 * nn > mmax; mmax <<= 1) {
    butterfly_stage(arrays, mmax, isign, std::span<double>(twiddles, 2 * kTwiddleBlock),
                    stage_for(kernel));
  }
}

// Real transform of arrays of n floats each (n a power of two, at least 2).
void real_fft_all(Arrays arrays, std::size_t n, int32_t isign) {
  const float c1 = 0.5F;
  float c2 = -0.5F;
  double theta = kPi / static_cast<double>(n >> 1);
  if (isign == 1) {
    complex_fft_all(arrays, n / 2, 1, FftKernel::kFastest);
  } else {
    c2 = 0.5F;
    theta = -theta;
  }
  double wtemp = std::sin(0.5 * theta);
  const double wpr = -2.0 * wtemp * wtemp;
  const double wpi = std::sin(theta);
  double wr = 1.0 + wpr;
  double wi = wpi;
  // 1-based positions i1, i2 = i1 + 1 and their mirrors i3, i4 = i3 + 1.
  for (std::size_t i = 2; i <= (n >> 2); ++i) {
    const std::size_t i1 = i + i - 1;
    const std::size_t i3 = n + 3 - (i1 + 1);
    for (std::span<float> data : arrays) {
      float& d1 = data[i1 - 1];
      float& d2 = data[i1];
      float& d3 = data[i3 - 1];
      float& d4 = data[i3];
      const float h1r = c1 * (d1 + d3);
      const float h1i = c1 * (d2 - d4);
      const float h2r = -c2 * (d2 + d4);
      const float h2i = c2 * (d1 - d3);
      d1 = static_cast<float>(h1r + wr * h2r - wi * h2i);
      d2 = static_cast<float>(h1i + wr * h2i + wi * h2r);
      d3 = static_cast<float>(h1r - wr * h2r + wi * h2i);
      d4 = static_cast<float>(-h1i + wr * h2i + wi * h2r);
    }
    wtemp = wr;
    wr = wtemp * wpr - wi * wpi + wr;
    wi = wi * wpr + wtemp * wpi + wi;
  }
  for (std::span<float> data : arrays) {
    const float h1r = data[0];
    if (isign == 1) {
      data[0] = h1r + data[1];
      data[1] = h1r - data[1];
    } else {
      data[0] = c1 * (h1r + data[1]);
      data[1] = c1 * (h1r - data[1]);
    }
  }
  if (isign != 1) complex_fft_all(arrays, n / 2, -1, FftKernel::kFastest);
}

}  // namespace

void complex_fft(std::span<float> data, int32_t isign, FftKernel kernel) {
  const std::size_t n = data.size() & ~static_cast<std::size_t>(1);
  if (!is_power_of_two(n / 2)) return;
  const std::span<float> one[] = {data.first(n)};
  complex_fft_all(one, n / 2, isign, kernel);
}

void real_fft(std::span<float> data, int32_t isign) {
  if (data.size() < 2 || !is_power_of_two(data.size())) return;
  const std::span<float> one[] = {data};
  real_fft_all(one, data.size(), isign);
}

void real_fft_pair(std::span<float> a, std::span<float> b, int32_t isign) {
  if (a.size() != b.size()) {
    real_fft(a, isign);
    real_fft(b, isign);
    return;
  }
  if (a.size() < 2 || !is_power_of_two(a.size())) return;
  const std::span<float> both[] = {a, b};
  real_fft_all(both, a.size(), isign);
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
  const auto x = try_allocate_floats(size.points);
  const auto y = try_allocate_floats(size.points);
  const auto wk1 = try_allocate_floats(size.grid);
  const auto wk2 = try_allocate_floats(size.grid);
  if (!x || !y || !wk1 || !wk2) {
    error("insufficient memory");
    return false;
  }
  // The first point of the series is not used: its time is the origin.
  const std::size_t points = n > 0 ? n - 1 : 0;
  for (std::size_t k = 0; k < points; ++k) {
    x[k] = static_cast<float>(t[k + 1]);
    y[k] = static_cast<float>(rr[k + 1]);
  }
  const LombResult lomb = fast_lomb_periodogram(
      std::span<const float>(x.get(), points), std::span<const float>(y.get(), points),
      kLombOversampling, kLombHighFrequencyFactor, std::span<float>(wk1.get(), size.grid),
      std::span<float>(wk2.get(), size.grid));
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

// C surface ------------------------------------------------------------------
namespace {
template <class T>
std::span<T> span_of(T* data, uint64_t n) {
  return data == nullptr ? std::span<T>() : std::span<T>(data, static_cast<std::size_t>(n));
}
template <class T>
std::span<T> span_of(T* data, int32_T n) {
  return span_of(data, static_cast<uint64_t>(std::max<int32_T>(n, 0)));
}
}  // namespace

extern "C" {

ZYN_API void calcLomb(const real_T* t, const real_T* rr, int32_T n, real_T* freqOut,
                      real_T* ampOut, int32_T nOut) {
  zyn::guarded([&] {
    zyn::lomb_spectrum(span_of(t, n), span_of(rr, n), span_of(freqOut, nOut),
                       span_of(ampOut, nOut));
  });
}

ZYN_API void fasper(const float* x, const float* y, uint64_t n, float ofac, float hifac,
                    float* wk1, float* wk2, uint64_t nwk, uint64_t* nout, uint64_t* jmax,
                    float* prob) {
  zyn::guarded([&] {
    const zyn::LombResult r = zyn::fast_lomb_periodogram(
        span_of(x, n), span_of(y, n), ofac, hifac, span_of(wk1, nwk), span_of(wk2, nwk));
    if (nout != nullptr) *nout = r.frequencies;
    if (jmax != nullptr) *jmax = r.peakIndex;
    if (prob != nullptr) *prob = r.falseAlarm;
  });
}

ZYN_API void avevar(const float* data, uint64_t n, float* ave, float* var) {
  const zyn::MeanVariance mv = zyn::mean_and_variance(span_of(data, n));
  if (ave != nullptr) *ave = mv.mean;
  if (var != nullptr) *var = mv.variance;
}

ZYN_API void spread(float* yy, uint64_t n, int32_T m, float y, float x) {
  zyn::extirpolate(span_of(yy, n), m, y, x);
}

ZYN_API void realft(float* data, uint64_t n, int32_T isign) {
  zyn::real_fft(span_of(data, n), isign);
}

ZYN_API void four1(float* data, uint64_t nn, int32_T isign) {
  if (nn > std::numeric_limits<uint64_t>::max() / 2) return;
  zyn::complex_fft(span_of(data, 2 * nn), isign);
}

ZYN_API void help(void) {}

ZYN_API const char* prog_name(const char* path) {
  if (path == nullptr) return nullptr;
  const char* slash = std::strrchr(path, '/');
  return slash == nullptr ? path : slash + 1;
}

ZYN_API void zeromean(float* x, uint64_t n) {
  const auto values = span_of(x, n);
  if (values.empty()) return;
  double sum = 0.0;
  for (float v : values) sum += v;
  const double mean = sum / static_cast<double>(values.size());
  for (float& v : values) v = static_cast<float>(v - mean);
}

}  // extern "C"
