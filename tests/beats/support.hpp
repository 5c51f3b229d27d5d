// Synthetic ECG shared by the beat detection tests.
#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

namespace beats_test {

// Narrow unit Gaussian QRS complexes (sigma 12 ms) at the given
// 0-based sample positions, on a zero line with a small slow wave.
inline std::vector<double> synthetic_ecg(std::size_t n, const std::vector<std::size_t>& beats, double fs) {
  std::vector<double> y(n);
  for (std::size_t i = 0; i < n; ++i) {
    y[i] = 0.05 * std::sin(2.0 * M_PI * 0.25 * static_cast<double>(i) / fs) +
           0.002 * std::sin(0.37 * static_cast<double>(i) * static_cast<double>(i));
  }
  const double sigma = 0.012 * fs;
  for (std::size_t b : beats) {
    for (std::ptrdiff_t d = -static_cast<std::ptrdiff_t>(6 * sigma); d <= static_cast<std::ptrdiff_t>(6 * sigma); ++d) {
      const std::ptrdiff_t k = static_cast<std::ptrdiff_t>(b) + d;
      if (k >= 0 && k < static_cast<std::ptrdiff_t>(n)) {
        y[static_cast<std::size_t>(k)] += std::exp(-static_cast<double>(d * d) / (2.0 * sigma * sigma));
      }
    }
  }
  return y;
}

inline std::vector<std::size_t> regular_beats(std::size_t n, std::size_t first, std::size_t interval) {
  std::vector<std::size_t> b;
  for (std::size_t p = first; p < n; p += interval) b.push_back(p);
  return b;
}

}  // namespace beats_test
