// Radix-2 complex and real FFTs of single-precision data (see fft.hpp).
//
// The complex transform puts the elements in bit-reversed order and then
// runs log2(n) butterfly stages, stage by stage over the whole array; the
// butterflies themselves are the processor-specific kernel of
// fft_kernels.cpp. The real transform of n values is the complex transform
// of n / 2 values followed by an unpacking pass. Several arrays of one
// length are transformed together, sharing the twiddle factors.
#include "hrv/fft.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <mutex>

namespace zyn {
namespace {

constexpr double kTwoPi = 6.28318530717959;
constexpr double kPi = 3.141592653589793;
// Twiddle factors of one FFT stage are produced in blocks of this many so
// that each stage streams through the data once (same values, same order of
// the recurrence, cache-friendly butterflies).
constexpr std::size_t kTwiddleBlock = 1024;

bool is_power_of_two(uint64_t v) { return v != 0 && (v & (v - 1)) == 0; }

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
void butterfly_stage(Arrays arrays, std::size_t mmax, int32_t isign, std::span<double> scratch) {
  const std::span<const double> cached =
      isign == 1 ? forward_stage_twiddles(mmax) : std::span<const double>();
  TwiddleRecurrence recurrence(stage_angle(mmax, isign));
  const std::size_t perBlock = scratch.size() / 2;
  for (std::size_t m0 = 0; m0 < mmax; m0 += 2 * perBlock) {
    const std::size_t count = std::min(perBlock, (mmax - m0) / 2);
    const double* twiddles = cached.empty() ? scratch.data() : cached.data() + m0;
    if (cached.empty()) recurrence.fill(scratch.first(2 * count));
    for (std::span<float> data : arrays) butterfly_stage_blocks(data, mmax, m0, twiddles, count);
  }
}

// Complex transform of arrays of 2 nn floats each (nn a power of two).
void complex_fft_all(Arrays arrays, std::size_t nn, int32_t isign) {
  bit_reverse(arrays, nn);
  double twiddles[2 * kTwiddleBlock];
  for (std::size_t mmax = 2; 2 * nn > mmax; mmax <<= 1) {
    butterfly_stage(arrays, mmax, isign, std::span<double>(twiddles, 2 * kTwiddleBlock));
  }
}

// Real transform of arrays of n floats each (n a power of two, at least 2).
void real_fft_all(Arrays arrays, std::size_t n, int32_t isign) {
  const float c1 = 0.5F;
  float c2 = -0.5F;
  if (isign == 1) {
    complex_fft_all(arrays, n / 2, 1);
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
  if (isign != 1) complex_fft_all(arrays, n / 2, -1);
}

}  // namespace

void complex_fft(std::span<float> data, int32_t isign) {
  const std::size_t n = data.size() & ~static_cast<std::size_t>(1);
  if (!is_power_of_two(n / 2)) return;
  const std::span<float> one[] = {data.first(n)};
  complex_fft_all(one, n / 2, isign);
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

}  // namespace zyn
