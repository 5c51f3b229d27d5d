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
#include <mutex>
#include <new>
#include <vector>

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

// Index k with its lowest `bits` bits in reverse order.
std::size_t reverse_bits(std::size_t k, unsigned bits) {
  std::size_t r = 0;
  for (unsigned b = 0; b < bits; ++b, k >>= 1) r = (r << 1) | (k & 1);
  return r;
}

// Puts complex element k of every array at the bit-reversed position of k,
// as the classic counter loop of the transform does (pure data movement).
// Swapping element by element strides through the array by half its length,
// which maps every access to the same cache set; instead the index is split
// into high, middle and low parts of kTileBits, mid and kTileBits bits, and
// a tile of all high/low combinations of one middle value (read row by row)
// is written, transposed and reversed, to the tile of the reversed middle
// value, and vice versa.
void bit_reverse(Arrays arrays, std::size_t nn) {
  constexpr unsigned kTileBits = 4;
  constexpr std::size_t kTile = std::size_t{1} << kTileBits;
  const auto bits = static_cast<unsigned>(std::countr_zero(nn));
  if (bits < 2 * kTileBits) {
    for (std::size_t k = 0; k < nn; ++k) {
      const std::size_t r = reverse_bits(k, bits);
      if (r <= k) continue;
      for (std::span<float> data : arrays) {
        std::swap(data[2 * r], data[2 * k]);
        std::swap(data[2 * r + 1], data[2 * k + 1]);
      }
    }
    return;
  }
  const unsigned midBits = bits - 2 * kTileBits;
  const unsigned highShift = bits - kTileBits;
  std::array<std::size_t, kTile> reversedLow{};
  for (std::size_t i = 0; i < kTile; ++i) reversedLow[i] = reverse_bits(i, kTileBits);
  std::array<float, 2 * kTile * kTile> tileA{};
  std::array<float, 2 * kTile * kTile> tileB{};
  for (std::span<float> data : arrays) {
    const auto load = [&](std::array<float, 2 * kTile * kTile>& tile, std::size_t mid) {
      for (std::size_t high = 0; high < kTile; ++high) {
        const float* row = data.data() + 2 * ((high << highShift) | (mid << kTileBits));
        std::copy(row, row + 2 * kTile, tile.data() + 2 * high * kTile);
      }
    };
    const auto store = [&](const std::array<float, 2 * kTile * kTile>& tile, std::size_t mid) {
      for (std::size_t high = 0; high < kTile; ++high) {
        float* row = data.data() + 2 * ((high << highShift) | (mid << kTileBits));
        const std::size_t low = reversedLow[high];
        for (std::size_t j = 0; j < kTile; ++j) {
          const std::size_t from = 2 * (reversedLow[j] * kTile + low);
          row[2 * j] = tile[from];
          row[2 * j + 1] = tile[from + 1];
        }
      }
    };
    for (std::size_t mid = 0; mid < (std::size_t{1} << midBits); ++mid) {
      const std::size_t reversedMid = reverse_bits(mid, midBits);
      if (reversedMid < mid) continue;
      load(tileA, mid);
      if (reversedMid != mid) load(tileB, reversedMid);
      store(tileA, reversedMid);
      if (reversedMid != mid) store(tileB, mid);
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

#define ZYN_AVX512 __attribute__((target("avx512f,avx512dq")))
// GCC 12's AVX-512 headers start masked builtins from a deliberately
// undefined vector, which its flow analysis reports as uninitialised.
#if !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif

// Products (wr br - wi bi, wr bi + wi br) of four complex values, rounded to
// float: the same double operations as the scalar kernel, eight lanes wide.
ZYN_AVX512 inline __m256 twiddle_products_avx512(__m512d w, __m256 bf) {
  const __m512d negateEven = _mm512_set_pd(0.0, -0.0, 0.0, -0.0, 0.0, -0.0, 0.0, -0.0);
  const __m512d b = _mm512_cvtps_pd(bf);                                  // br bi per value
  const __m512d wr = _mm512_permute_pd(w, 0x00);                          // wr wr
  const __m512d wi = _mm512_xor_pd(_mm512_permute_pd(w, 0xFF), negateEven);  // -wi wi
  const __m512d swapped = _mm512_permute_pd(b, 0x55);                     // bi br
  return _mm512_cvtpd_ps(_mm512_add_pd(_mm512_mul_pd(wr, b), _mm512_mul_pd(wi, swapped)));
}

ZYN_AVX512 inline void butterflies_avx512(float* lo, float* hi, const double* tw,
                                          std::size_t count) {
  std::size_t q = 0;
  for (; q + 4 <= count; q += 4) {
    const __m256 temp = twiddle_products_avx512(_mm512_loadu_pd(tw + 2 * q), _mm256_loadu_ps(hi + 2 * q));
    const __m256 a = _mm256_loadu_ps(lo + 2 * q);
    _mm256_storeu_ps(hi + 2 * q, _mm256_sub_ps(a, temp));
    _mm256_storeu_ps(lo + 2 * q, _mm256_add_ps(a, temp));
  }
  butterflies_scalar(lo + 2 * q, hi + 2 * q, tw + 2 * q, count - q);
}

// The first two stages (one and two butterflies per block) take eight
// complex values, several blocks, at once: the low and high halves of the
// blocks are gathered into lanes, transformed, and scattered back.
template <std::size_t kCount>
ZYN_AVX512 void run_small_stage_avx512(std::span<float> data, const double* tw) {
  static_assert(kCount == 1 || kCount == 2);
  const __m512i lowLanes = kCount == 1 ? _mm512_set_epi64(7, 5, 3, 1, 6, 4, 2, 0)
                                       : _mm512_set_epi64(7, 6, 3, 2, 5, 4, 1, 0);
  const __m512i backLanes = kCount == 1 ? _mm512_set_epi64(7, 3, 6, 2, 5, 1, 4, 0)
                                        : _mm512_set_epi64(7, 6, 3, 2, 5, 4, 1, 0);
  const __m512d w = kCount == 1 ? _mm512_broadcast_f64x2(_mm_loadu_pd(tw))
                                : _mm512_broadcast_f64x4(_mm256_loadu_pd(tw));
  for (std::size_t i = 0; i + 16 <= data.size(); i += 16) {
    const __m512d split =
        _mm512_permutexvar_pd(lowLanes, _mm512_castps_pd(_mm512_loadu_ps(data.data() + i)));
    const __m256 a = _mm256_castpd_ps(_mm512_castpd512_pd256(split));
    const __m256 b = _mm256_castpd_ps(_mm512_extractf64x4_pd(split, 1));
    const __m256 temp = twiddle_products_avx512(w, b);
    const __m512d joined = _mm512_insertf64x4(
        _mm512_castpd256_pd512(_mm256_castps_pd(_mm256_add_ps(a, temp))),
        _mm256_castps_pd(_mm256_sub_ps(a, temp)), 1);
    _mm512_storeu_ps(data.data() + i, _mm512_castpd_ps(_mm512_permutexvar_pd(backLanes, joined)));
  }
}

ZYN_AVX512 void run_stage_blocks_avx512(std::span<float> data, std::size_t mmax, std::size_t m0,
                                        const double* tw, std::size_t count) {
  if (data.size() % 16 == 0 && m0 == 0 && 2 * count == mmax && count <= 2) {
    if (count == 1) run_small_stage_avx512<1>(data, tw);
    else run_small_stage_avx512<2>(data, tw);
    return;
  }
  for (std::size_t block = 0; block < data.size(); block += 2 * mmax) {
    float* lo = data.data() + block + m0;
    butterflies_avx512(lo, lo + mmax, tw, count);
  }
}

#if !defined(__clang__)
#pragma GCC diagnostic pop
#endif

StageRun stage_for(FftKernel kernel) {
  static const bool hasAvx = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx") != 0;
  }();
  static const bool hasAvx512 = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx512f") != 0 && __builtin_cpu_supports("avx512dq") != 0;
  }();
  switch (kernel) {
    case FftKernel::kScalar:
      return run_stage_blocks<butterflies_scalar>;
    case FftKernel::kSse2:
      return run_stage_blocks<butterflies_sse2>;
    case FftKernel::kAvx:
      return hasAvx ? run_stage_blocks_avx : run_stage_blocks<butterflies_sse2>;
    case FftKernel::kAvx512:
    case FftKernel::kFastest:
      break;
  }
  if (hasAvx512) return run_stage_blocks_avx512;
  return hasAvx ? run_stage_blocks_avx : run_stage_blocks<butterflies_sse2>;
}
#else
StageRun stage_for(FftKernel) { return run_stage_blocks<butterflies_scalar>; }
#endif

// Twiddle factors w_q = (wr, wi), q = 0, 1, ..., of angle step theta by the
// recurrence w <- w + w (wpr + i wpi) started at w_0 = 1, in double. Every
// transform takes its factors from here, so cached and fresh ones agree.
class TwiddleRecurrence {
 public:
  explicit TwiddleRecurrence(double theta) {
    const double wtemp = std::sin(0.5 * theta);
    wpr_ = -2.0 * wtemp * wtemp;
    wpi_ = std::sin(theta);
  }
  double wr() const { return wr_; }
  double wi() const { return wi_; }
  void advance() {
    const double wtemp = wr_;
    wr_ = wtemp * wpr_ - wi_ * wpi_ + wr_;
    wi_ = wi_ * wpr_ + wtemp * wpi_ + wi_;
  }
  // Writes the next out.size() / 2 factors as (wr, wi) pairs.
  void fill(std::span<double> out) {
    for (std::size_t k = 0; k + 1 < out.size(); k += 2) {
      out[k] = wr_;
      out[k + 1] = wi_;
      advance();
    }
  }

 private:
  double wpr_ = 0.0;
  double wpi_ = 0.0;
  double wr_ = 1.0;
  double wi_ = 0.0;
};

// Immutable per-process tables of forward twiddle factors, one per power-of-
// two transform size up to 2^kMaxLog2, each built by the first call that
// needs it. The recurrence is a serial chain of dependent multiplications
// (about a tenth of a 10-minute spectrum); the tables hold its exact values,
// so results do not change. They live in static storage, whose pages are
// only touched when a table is built: tables on the host's heap would sit
// among the analyses' large temporaries and change how the allocator hands
// those back to the system between calls.
constexpr std::size_t stage_table_length(std::size_t mmax) { return mmax; }
constexpr std::size_t real_table_length(std::size_t n) { return n < 8 ? 0 : n / 2 - 2; }

template <unsigned kMaxLog2, std::size_t (*kLength)(std::size_t), void (*kFill)(std::size_t, std::span<double>)>
class TwiddleTables {
 public:
  // The table of one size, or an empty span beyond the bound (the caller
  // then runs the recurrence).
  std::span<const double> find(std::size_t size) {
    if (!is_power_of_two(size)) return {};
    const auto log2 = static_cast<unsigned>(std::countr_zero(size));
    if (log2 > kMaxLog2) return {};
    const std::span<double> table(values_.data() + offset_of(log2), kLength(size));
    std::call_once(built_[log2], [&] { kFill(size, table); });
    return table;
  }

 private:
  static constexpr std::size_t offset_of(unsigned log2) {
    std::size_t offset = 0;
    for (unsigned k = 0; k < log2; ++k) offset += kLength(std::size_t{1} << k);
    return offset;
  }

  std::array<std::once_flag, kMaxLog2 + 1> built_;
  std::array<double, offset_of(kMaxLog2 + 1)> values_{};  // zero (static storage) until built
};

// Angle steps of a butterfly stage of span mmax floats and of the real
// transform's unpacking pass over n floats.
double stage_angle(std::size_t mmax, int32_t isign) {
  return isign * kTwoPi / static_cast<double>(mmax);
}
double real_angle(std::size_t n, int32_t isign) {
  const double theta = kPi / static_cast<double>(n >> 1);
  return isign == 1 ? theta : -theta;
}

void fill_forward_stage(std::size_t mmax, std::span<double> out) {
  TwiddleRecurrence(stage_angle(mmax, 1)).fill(out);
}
void fill_forward_real(std::size_t n, std::span<double> out) {
  TwiddleRecurrence recurrence(real_angle(n, 1));
  recurrence.advance();
  recurrence.fill(out);
}

// Forward factors of the stage of span mmax floats (mmax / 2 pairs), cached
// up to the spans of a 10-minute spectrum's grid (512 kB in all), and those
// w_1 .. w_{n/4 - 1} of the unpacking pass over n floats, cached up to
// n = 2^16 (512 kB in all).
constinit TwiddleTables<15, stage_table_length, fill_forward_stage> forwardStageTables;
constinit TwiddleTables<16, real_table_length, fill_forward_real> forwardRealTables;

std::span<const double> forward_stage_twiddles(std::size_t mmax) { return forwardStageTables.find(mmax); }
std::span<const double> forward_real_twiddles(std::size_t n) { return forwardRealTables.find(n); }

// One butterfly stage of span mmax (floats): the factors, cached or produced
// in blocks of the scratch's size, are applied to every block of the data.
void butterfly_stage(Arrays arrays, std::size_t mmax, int32_t isign, std::span<double> scratch,
                     StageRun run) {
  const std::span<const double> cached =
      isign == 1 ? forward_stage_twiddles(mmax) : std::span<const double>();
  TwiddleRecurrence recurrence(stage_angle(mmax, isign));
  const std::size_t perBlock = scratch.size() / 2;
  for (std::size_t m0 = 0; m0 < mmax; m0 += 2 * perBlock) {
    const std::size_t count = std::min(perBlock, (mmax - m0) / 2);
    const double* twiddles = cached.empty() ? scratch.data() : cached.data() + m0;
    if (cached.empty()) recurrence.fill(scratch.first(2 * count));
    for (std::span<float> data : arrays) run(data, mmax, m0, twiddles, count);
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
  if (isign == 1) {
    complex_fft_all(arrays, n / 2, 1, FftKernel::kFastest);
  } else {
    c2 = 0.5F;
  }
  const std::span<const double> cached =
      isign == 1 ? forward_real_twiddles(n) : std::span<const double>();
  TwiddleRecurrence recurrence(real_angle(n, isign));
  recurrence.advance();
  // 1-based positions i1, i2 = i1 + 1 and their mirrors i3, i4 = i3 + 1.
  for (std::size_t i = 2; i <= (n >> 2); ++i) {
    const double wr = cached.empty() ? recurrence.wr() : cached[2 * (i - 2)];
    const double wi = cached.empty() ? recurrence.wi() : cached[2 * (i - 2) + 1];
    if (cached.empty()) recurrence.advance();
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
