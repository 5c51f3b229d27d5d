// Counting and keeping the samples of a vector within an interval, one
// vector of lanes at a time (dispatched per processor, see
// runtime/dispatch.hpp).
//
// Unit-free; positions are 1-based. A NaN is neither below nor inside an
// interval: every comparison here is an ordered one, false for a NaN, as the
// plain definitions' `v < low` and `v >= low && v <= high` are. Counts and
// kept elements do not depend on the lane width.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "toolbox/search_sort_kernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>
#include <vector>

#include "runtime/dispatch.hpp"
#include "toolbox/search_sort.hpp"

#ifndef ZYN_TOOLBOX_SEARCH_SORT_PLAIN
#define ZYN_TOOLBOX_SEARCH_SORT_PLAIN
namespace zyn::plain {

// The definitions, one element at a time; the lanes finish with them.
inline IntervalCounts count_within(std::span<const double> x, double low, double high) {
  IntervalCounts c{0, 0};
  for (double v : x) {
    c.below += static_cast<std::size_t>(v < low);
    c.inside += static_cast<std::size_t>(v >= low) & static_cast<std::size_t>(v <= high);
  }
  return c;
}

// Each element of x within [low, high] (Out = double), or its 1-based
// position counted from `first` on (Out = int64_t), written in order to out;
// returns how many. Every element is written at the next free place, which
// only advances past one inside, so out needs room for their count plus one.
template <class Out>
std::size_t keep_within(std::span<const double> x, double low, double high, int64_t first, Out* out) {
  std::size_t count = 0;
  for (std::size_t k = 0; k < x.size(); ++k) {
    if constexpr (std::is_same_v<Out, double>) {
      out[count] = x[k];
    } else {
      out[count] = first + static_cast<int64_t>(k);
    }
    count += static_cast<std::size_t>(x[k] >= low) & static_cast<std::size_t>(x[k] <= high);
  }
  return count;
}

}  // namespace zyn::plain
#endif

HWY_BEFORE_NAMESPACE();
namespace zyn::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// The counts grow in integer lanes (one count per lane, summed at the end).
// With low <= high an element below low is not above high, so the elements
// inside are those not above high less those below low: two comparisons a
// vector instead of three.
IntervalCounts count_within_lanes(std::span<const double> x, double low, double high) {
  if (!(low <= high)) return plain::count_within(x, low, high);  // nothing inside, or a NaN bound
  const hn::ScalableTag<double> d;
  const hn::RebindToSigned<decltype(d)> di;
  const std::size_t lanes = hn::Lanes(d);
  const auto lowest = hn::Set(d, low);
  const auto highest = hn::Set(d, high);
  const auto one = hn::Set(di, 1);
  auto below = hn::Zero(di);
  auto notAbove = hn::Zero(di);
  std::size_t k = 0;
  for (; k + lanes <= x.size(); k += lanes) {
    const auto v = hn::LoadU(d, x.data() + k);
    below = hn::Add(below, hn::IfThenElseZero(hn::RebindMask(di, hn::Lt(v, lowest)), one));
    notAbove = hn::Add(notAbove, hn::IfThenElseZero(hn::RebindMask(di, hn::Le(v, highest)), one));
  }
  const IntervalCounts tail = plain::count_within(x.subspan(k), low, high);
  const auto belowCount = static_cast<std::size_t>(hn::GetLane(hn::SumOfLanes(di, below)));
  const auto notAboveCount = static_cast<std::size_t>(hn::GetLane(hn::SumOfLanes(di, notAbove)));
  return {belowCount + tail.below, notAboveCount - belowCount + tail.inside};
}

// The elements inside (or their positions) of each vector are packed to
// its front and the whole vector is stored: out needs room for the count
// plus a vector of lanes. AVX-512 packs in one instruction into a register
// (Highway 1.0 packs 64-bit lanes through a table there, and its packing
// store straight to memory is far slower); the other variants look the
// packing up in a table, dearer than the plain loop for the median's
// bracket, which keeps about one sample in a hundred, so there vectors with
// nothing inside skip it.
#if HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX3_DL
constexpr bool kPackingIsCheap = true;
HWY_INLINE hn::Vec512<double> packed(hn::Vec512<double> v, hn::Mask512<double> inside) {
  return hn::Vec512<double>{_mm512_maskz_compress_pd(inside.raw, v.raw)};
}
HWY_INLINE hn::Vec512<int64_t> packed(hn::Vec512<int64_t> v, hn::Mask512<int64_t> inside) {
  return hn::Vec512<int64_t>{_mm512_maskz_compress_epi64(inside.raw, v.raw)};
}
#else
constexpr bool kPackingIsCheap = false;
template <class V, class M>
HWY_INLINE V packed(V v, M inside) {
  return hn::Compress(v, inside);
}
#endif
static_assert(HWY_MAX_BYTES <= simd::kWidestVectorBytes);

template <class Out>
std::size_t keep_within_lanes(std::span<const double> x, double low, double high, Out* out) {
  const hn::ScalableTag<double> d;
  const hn::RebindToSigned<decltype(d)> di;
  const std::size_t lanes = hn::Lanes(d);
  const auto lowest = hn::Set(d, low);
  const auto highest = hn::Set(d, high);
  auto positions = hn::Iota(di, 1);
  const auto step = hn::Set(di, static_cast<int64_t>(lanes));
  std::size_t count = 0;
  std::size_t k = 0;
  for (; k + lanes <= x.size(); k += lanes, positions = hn::Add(positions, step)) {
    const auto v = hn::LoadU(d, x.data() + k);
    const auto inside = hn::And(hn::Ge(v, lowest), hn::Le(v, highest));
    if (!kPackingIsCheap && hn::AllFalse(d, inside)) continue;
    if constexpr (std::is_same_v<Out, double>) {
      hn::StoreU(packed(v, inside), d, out + count);
    } else {
      hn::StoreU(packed(positions, hn::RebindMask(di, inside)), di, out + count);
    }
    count += hn::CountTrue(d, inside);
  }
  return count + plain::keep_within(x.subspan(k), low, high, static_cast<int64_t>(k) + 1, out + count);
}

std::size_t keep_values_within_lanes(std::span<const double> x, double low, double high, double* out) {
  return keep_within_lanes(x, low, high, out);
}
std::size_t keep_positions_within_lanes(std::span<const double> x, double low, double high, int64_t* out) {
  return keep_within_lanes(x, low, high, out);
}

}  // namespace zyn::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zyn {

HWY_EXPORT(count_within_lanes);
HWY_EXPORT(keep_values_within_lanes);
HWY_EXPORT(keep_positions_within_lanes);

IntervalCounts count_within(std::span<const double> x, double low, double high) {
  return HWY_DYNAMIC_DISPATCH(count_within_lanes)(x, low, high);
}

// A whole vector of the widest variant past the last kept element.
constexpr std::size_t kCompressPadding = simd::kWidestVectorBytes / sizeof(double);

std::vector<double> elements_within(std::span<const double> x, double low, double high, std::size_t inside) {
  std::vector<double> out(inside + kCompressPadding);
  out.resize(HWY_DYNAMIC_DISPATCH(keep_values_within_lanes)(x, low, high, out.data()));
  return out;
}

std::vector<int64_t> positions_within(std::span<const double> x, double low, double high, std::size_t inside) {
  std::vector<int64_t> out(inside + kCompressPadding);
  out.resize(HWY_DYNAMIC_DISPATCH(keep_positions_within_lanes)(x, low, high, out.data()));
  return out;
}

}  // namespace zyn
#endif  // HWY_ONCE
