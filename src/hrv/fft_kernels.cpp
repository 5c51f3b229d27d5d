// Butterflies of one stage of the radix-2 complex FFT, one vector of lanes
// at a time (dispatched per processor, see runtime/dispatch.hpp).
//
// Data are interleaved (re, im) floats; twiddle factors are (wr, wi)
// doubles. Every variant performs, per butterfly of low element a and high
// element b, exactly
//   temp = (float(wr * br - wi * bi), float(wr * bi + wi * br))   in double
//   b = a - temp, a = a + temp                                     in float
// (wr * br + (-wi) * bi is the same number as wr * br - wi * bi), so all
// variants give the bits of the plain loop.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "hrv/fft_kernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>
#include <span>

#include "hrv/fft.hpp"

#ifndef ZYN_HRV_FFT_PLAIN
#define ZYN_HRV_FFT_PLAIN
namespace zyn::plain {

// Butterflies q = 0 .. count-1 between complex elements lo + 2q and hi + 2q
// with twiddle factor (tw[2q], tw[2q+1]). Never inlined into a variant:
// there GCC 12's vectoriser turns this very pattern (x y - z w beside
// x w + z y) into fused multiply-adds despite -ffp-contract=off; compiled
// once for the baseline processor, it has none to use.
[[gnu::noinline]] inline void butterflies(float* lo, float* hi, const double* tw, std::size_t count) {
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

}  // namespace zyn::plain
#endif

HWY_BEFORE_NAMESPACE();
namespace zyn::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

#if HWY_TARGET != HWY_SCALAR  // one lane cannot hold a complex value

using Doubles = hn::ScalableTag<double>;
using Floats = hn::Rebind<float, Doubles>;  // as many floats as doubles

// temp of the butterflies whose high elements are b (interleaved floats)
// and twiddle factors w (interleaved doubles), rounded to float.
HWY_INLINE hn::Vec<Floats> twiddle_products(hn::Vec<Doubles> w, hn::Vec<Floats> bf) {
  const Doubles d;
  const Floats f;
  const auto negateEven = hn::OddEven(hn::Zero(d), hn::Set(d, -0.0));  // sign bits of the even lanes
  const auto b = hn::PromoteTo(d, bf);                         // br bi
  const auto wr = hn::DupEven(w);                              // wr wr
  const auto wi = hn::Xor(hn::DupOdd(w), negateEven);          // -wi wi
  const auto swapped = hn::Reverse2(d, b);                     // bi br
  return hn::DemoteTo(f, hn::Add(hn::Mul(wr, b), hn::Mul(wi, swapped)));
}

// Two vectors of butterflies a step where the block holds them: the loads
// of the second start before the first's results are stored.
HWY_INLINE void butterflies(float* lo, float* hi, const double* tw, std::size_t count) {
  const Doubles d;
  const Floats f;
  const std::size_t perVector = hn::Lanes(d) / 2;  // complex values
  std::size_t q = 0;
  for (; q + 2 * perVector <= count; q += 2 * perVector) {
    const std::size_t r = q + perVector;
    const auto temp0 = twiddle_products(hn::LoadU(d, tw + 2 * q), hn::LoadU(f, hi + 2 * q));
    const auto temp1 = twiddle_products(hn::LoadU(d, tw + 2 * r), hn::LoadU(f, hi + 2 * r));
    const auto a0 = hn::LoadU(f, lo + 2 * q);
    const auto a1 = hn::LoadU(f, lo + 2 * r);
    hn::StoreU(hn::Sub(a0, temp0), f, hi + 2 * q);
    hn::StoreU(hn::Add(a0, temp0), f, lo + 2 * q);
    hn::StoreU(hn::Sub(a1, temp1), f, hi + 2 * r);
    hn::StoreU(hn::Add(a1, temp1), f, lo + 2 * r);
  }
  for (; q + perVector <= count; q += perVector) {
    const auto temp = twiddle_products(hn::LoadU(d, tw + 2 * q), hn::LoadU(f, hi + 2 * q));
    const auto a = hn::LoadU(f, lo + 2 * q);
    hn::StoreU(hn::Sub(a, temp), f, hi + 2 * q);
    hn::StoreU(hn::Add(a, temp), f, lo + 2 * q);
  }
  if (q < count) plain::butterflies(lo + 2 * q, hi + 2 * q, tw + 2 * q, count - q);
}

// Stages of one or two butterflies per block (of 4 or 8 floats) are too
// short for a vector: a vector takes whole blocks instead, one complex value
// to a 64-bit lane, regrouped so that its lower half holds the blocks' low
// elements and its upper half their high ones, and regrouped back after the
// butterflies. False (nothing done) where the vector does not hold whole
// blocks.
template <std::size_t kCount>
bool small_stage(std::span<float> data, const double* tw) {
  // One complex value (two floats) per 64-bit lane; the lanes are moved as
  // doubles, never computed with, so that every move stays among the
  // floating-point instructions.
  const Doubles dc;  // complex values
  const hn::Half<decltype(dc)> dh;
  const hn::Repartition<float, decltype(dc)> dfull;
  const Doubles d;
  const Floats f;
  const std::size_t lanes = hn::Lanes(dc);
  constexpr std::size_t kBlock = 2 * kCount;  // complex values per block
  if (lanes % kBlock != 0 || data.size() % (2 * lanes) != 0) return false;
  constexpr std::size_t kMaxLanes = 64 / sizeof(double);
  HWY_ALIGN int64_t split[kMaxLanes];
  HWY_ALIGN int64_t back[kMaxLanes];
  HWY_ALIGN double pattern[kMaxLanes];
  const std::size_t half = lanes / 2;
  for (std::size_t i = 0; i < half; ++i) {
    const std::size_t block = i / kCount, q = i % kCount;
    split[i] = static_cast<int64_t>(block * kBlock + q);                 // low element
    split[half + i] = static_cast<int64_t>(block * kBlock + kCount + q);  // high element
  }
  for (std::size_t i = 0; i < lanes; ++i) {
    back[split[i]] = static_cast<int64_t>(i);
    pattern[i] = tw[i % kBlock];  // (wr, wi) of butterfly q, repeated per block
  }
  const auto toHalves = hn::SetTableIndices(dc, split);
  const auto toBlocks = hn::SetTableIndices(dc, back);
  const auto w = hn::Load(d, pattern);
  for (std::size_t i = 0; i < data.size(); i += 2 * lanes) {
    const auto v = hn::TableLookupLanes(hn::BitCast(dc, hn::LoadU(dfull, data.data() + i)), toHalves);
    const auto a = hn::BitCast(f, hn::LowerHalf(dh, v));
    const auto temp = twiddle_products(w, hn::BitCast(f, hn::UpperHalf(dh, v)));
    const auto joined = hn::Combine(dc, hn::BitCast(dh, hn::Sub(a, temp)), hn::BitCast(dh, hn::Add(a, temp)));
    hn::StoreU(hn::BitCast(dfull, hn::TableLookupLanes(joined, toBlocks)), dfull, data.data() + i);
  }
  return true;
}

#endif  // HWY_TARGET != HWY_SCALAR

void butterfly_stage_lanes(std::span<float> data, std::size_t mmax, std::size_t m0, const double* tw,
                           std::size_t count) {
#if HWY_TARGET == HWY_SCALAR
  for (std::size_t block = 0; block < data.size(); block += 2 * mmax) {
    float* lo = data.data() + block + m0;
    plain::butterflies(lo, lo + mmax, tw, count);
  }
#else
  const bool wholeStage = m0 == 0 && 2 * count == mmax;
  if (wholeStage && count == 1 && small_stage<1>(data, tw)) return;
  if (wholeStage && count == 2 && small_stage<2>(data, tw)) return;
  for (std::size_t block = 0; block < data.size(); block += 2 * mmax) {
    float* lo = data.data() + block + m0;
    butterflies(lo, lo + mmax, tw, count);
  }
#endif
}

}  // namespace zyn::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zyn {

HWY_EXPORT(butterfly_stage_lanes);

void butterfly_stage_blocks(std::span<float> data, std::size_t mmax, std::size_t m0, const double* tw,
                            std::size_t count) {
  HWY_DYNAMIC_DISPATCH(butterfly_stage_lanes)(data, mmax, m0, tw, count);
}

}  // namespace zyn
#endif  // HWY_ONCE
