// Lane kernels of the median (see median_kernels.hpp), compiled per
// processor variant. Ranks are counted one element per lane; the network
// runs one window per lane. Only comparisons and selections are made, so
// every variant gives the results of the plain loops.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "toolbox/median_kernels.cpp"
#include <hwy/foreach_target.h>  // IWYU pragma: keep
#include <hwy/highway.h>

#include "toolbox/median_kernels.hpp"

#ifndef ZYN_TOOLBOX_MEDIAN_PLAIN
#define ZYN_TOOLBOX_MEDIAN_PLAIN
namespace zyn::plain {

// The ranks of the elements from `first` on (the lanes finish with it).
inline void rank_elements(std::span<const double> x, std::size_t first, int64_t* below, int64_t* notAbove) {
  for (std::size_t i = first; i < x.size(); ++i) {
    below[i] = 0;
    notAbove[i] = 0;
    for (double u : x) {
      below[i] += static_cast<int64_t>(u < x[i]);
      notAbove[i] += static_cast<int64_t>(u <= x[i]);
    }
  }
}

}  // namespace zyn::plain
#endif

HWY_BEFORE_NAMESPACE();
namespace zyn::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

void rank_every_element_lanes(std::span<const double> x, int64_t* below, int64_t* notAbove) {
  const hn::ScalableTag<double> d;
  const hn::RebindToSigned<decltype(d)> di;
  const std::size_t lanes = hn::Lanes(d);
  const auto one = hn::Set(di, 1);
  std::size_t i = 0;
  for (; i + lanes <= x.size(); i += lanes) {
    const auto ranked = hn::LoadU(d, x.data() + i);
    auto countBelow = hn::Zero(di);
    auto countNotAbove = hn::Zero(di);
    for (double u : x) {
      const auto other = hn::Set(d, u);
      countBelow = hn::Add(countBelow, hn::IfThenElseZero(hn::RebindMask(di, hn::Lt(other, ranked)), one));
      countNotAbove = hn::Add(countNotAbove, hn::IfThenElseZero(hn::RebindMask(di, hn::Le(other, ranked)), one));
    }
    hn::StoreU(countBelow, di, below + i);
    hn::StoreU(countNotAbove, di, notAbove + i);
  }
  plain::rank_elements(x, i, below, notAbove);
}

void apply_network_lanes(std::span<const Comparator> net, WindowLanes& lanes) {
  const hn::CappedTag<double, kWindowsSideBySide> d;
  const std::size_t step = hn::Lanes(d);
  for (const Comparator c : net) {
    double* lower = lanes[c.lower].data();
    double* higher = lanes[c.higher].data();
    for (std::size_t w = 0; w < kWindowsSideBySide; w += step) {
      const auto a = hn::LoadU(d, lower + w);
      const auto b = hn::LoadU(d, higher + w);
      const auto aFirst = hn::Lt(a, b);
      hn::StoreU(hn::IfThenElse(aFirst, a, b), d, lower + w);
      hn::StoreU(hn::IfThenElse(aFirst, b, a), d, higher + w);
    }
  }
}

}  // namespace zyn::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zyn {

HWY_EXPORT(rank_every_element_lanes);
HWY_EXPORT(apply_network_lanes);

void rank_every_element(std::span<const double> x, int64_t* below, int64_t* notAbove) {
  HWY_DYNAMIC_DISPATCH(rank_every_element_lanes)(x, below, notAbove);
}

void apply_network(std::span<const Comparator> net, WindowLanes& lanes) {
  HWY_DYNAMIC_DISPATCH(apply_network_lanes)(net, lanes);
}

}  // namespace zyn
#endif  // HWY_ONCE
