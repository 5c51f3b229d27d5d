// Linear-time window kernels used by the beat detector.
//
// Sliding maxima and ranges over centred windows. Each gives the same
// numbers as the plain definition (the maximum of a window is one of its
// samples) while costing O(n) instead of O(n * window).
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zyn::beats {

// out[k] = max of x[k - half .. k + half] for every k whose window lies
// inside x; other entries of out are left untouched. out has x's length.
void sliding_max_centred(std::span<const double> x, std::size_t half, std::span<double> out);
// out[k] = max - min of x[k - half .. k + half], same coverage as above.
void sliding_range_centred(std::span<const double> x, std::size_t half, std::span<double> out);
// True when the extreme of any window of x is one value whatever the order
// of comparisons: no NaN and no negative zero.
bool extremes_are_order_free(std::span<const double> x);

}  // namespace zyn::beats
