// Lane kernels of the median (runtime/dispatch.hpp): ranks of every element
// of a short input, and a comparator network over windows side by side.
// Both compare only; their results are counts and moved samples, the same
// on every processor variant.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace zyn {

// Inputs of up to this many samples (a beat-sized window) are ranked or
// sorted by a network instead of partitioned.
inline constexpr std::size_t kShortInput = 64;

// For every element x[i] of a short input (x.size() <= kShortInput), the
// number of elements of x below it (below[i]) and not above it
// (notAbove[i]): the ascending places it spans when x holds no NaN.
void rank_every_element(std::span<const double> x, int64_t* below, int64_t* notAbove);

// One comparator of a network: it leaves the smaller of its two places'
// values in `lower` and the larger in `higher` (a NaN is never smaller).
struct Comparator {
  uint8_t lower;
  uint8_t higher;
};

// The places of eight windows side by side: lanes[place][window].
inline constexpr std::size_t kWindowsSideBySide = 8;
using WindowLanes = std::array<std::array<double, kWindowsSideBySide>, kShortInput>;

// The network applied to every window: for each comparator in turn,
// smaller = a < b ? a : b and larger = a < b ? b : a in each window.
void apply_network(std::span<const Comparator> net, WindowLanes& lanes);

}  // namespace zyn
