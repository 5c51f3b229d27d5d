// Sample counts and 1-based positions of the R-peak detector.
//
// The detector states its windows in seconds and turns them into sample
// counts from the sampling rate fs; its positions are 1-based sample
// indices, the positions it reports.
#pragma once

#include <cmath>
#include <cstddef>
#include <limits>
#include <span>

namespace zyn::beats {

inline constexpr double kMinusInf = -std::numeric_limits<double>::infinity();

// floor(v) as a sample count; non-positive or NaN gives 0, huge values are
// capped far beyond any signal length.
inline std::ptrdiff_t samples_floor(double v) {
  if (!(v > 0.0)) return 0;
  if (v > 1e15) return static_cast<std::ptrdiff_t>(1e15);
  return static_cast<std::ptrdiff_t>(std::floor(v));
}

// 1-based view of a signal.
struct OneBased {
  std::span<const double> v;
  double operator()(std::ptrdiff_t i) const { return v[static_cast<std::size_t>(i - 1)]; }
  // Samples from .. to (inclusive); empty when to < from.
  std::span<const double> range(std::ptrdiff_t from, std::ptrdiff_t to) const {
    if (to < from) return {};
    return v.subspan(static_cast<std::size_t>(from - 1), static_cast<std::size_t>(to - from + 1));
  }
};

}  // namespace zyn::beats
