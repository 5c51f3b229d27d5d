// Synthetic ECG recordings for tests: a sinus rhythm with P, QRS and T waves
// as Gaussian bumps, slow baseline wander and white noise, in millivolts at a
// given sampling rate, reproducible from a seed.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace zyn::testing {

// Returns the samples; rSeconds receives the R-wave times.
inline std::vector<double> synthetic_ecg(std::size_t samples, double fs, double bpm, uint32_t seed,
                                         std::vector<double>* rSeconds = nullptr) {
  // P, Q, R, S and T: offset from the R wave (s), width (s), amplitude (mV).
  static constexpr double kWaves[][3] = {
      {-0.16, 0.012, 0.12}, {-0.02, 0.008, -0.10}, {0.0, 0.010, 1.2}, {0.025, 0.008, -0.25}, {0.25, 0.040, 0.30}};
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> jitter(-0.04, 0.04);
  std::normal_distribution<double> noise(0.0, 0.01);
  std::vector<double> x(samples, 0.0);
  const double meanRr = 60.0 / bpm;
  const double end = static_cast<double>(samples) / fs + 1.0;
  for (double t = 0.4; t < end; t += meanRr * (1.0 + jitter(rng))) {
    for (const auto& [offset, widthSeconds, amplitude] : kWaves) {
      const double centre = (t + offset) * fs, width = widthSeconds * fs;
      const long last = std::min(static_cast<long>(std::ceil(centre + 5 * width)), static_cast<long>(samples) - 1);
      for (long i = std::max(0L, static_cast<long>(std::floor(centre - 5 * width))); i <= last; ++i) {
        const double d = (static_cast<double>(i) - centre) / width;
        x[static_cast<std::size_t>(i)] += amplitude * std::exp(-0.5 * d * d);
      }
    }
    if (rSeconds != nullptr) rSeconds->push_back(t);
  }
  for (std::size_t i = 0; i < samples; ++i) {
    const double t = static_cast<double>(i) / fs;
    x[i] += 0.08 * std::sin(2 * M_PI * 0.3 * t) + noise(rng);
  }
  return x;
}

}  // namespace zyn::testing
