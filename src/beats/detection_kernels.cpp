// Kernels of the R-peak detector (see the header). Loops whose lanes are
// independent are compiled per vector unit; each lane performs the scalar
// IEEE operations in the scalar order (the build never contracts them into
// fused multiply-adds), so every variant gives the plain loop's bits.
#include "beats/detection_kernels.hpp"

#include <bit>
#include <cmath>
#include <cstring>

#include "runtime/simd.hpp"

namespace zyn::beats {

ZYN_WIDEST_VECTORS void standard_deviations_from_sums(const double* s, const double* q, std::size_t count,
                                                      double width, double dof, double* sd) {
  for (std::size_t j = 0; j < count; ++j) sd[j] = std::sqrt((q[j] - s[j] * s[j] / width) / dof);
}

ZYN_WIDEST_VECTORS void mark_clear_crossings(const double* env, const double* noiseSd, const double* trend,
                                             std::size_t n, double noiseWeight, double trendWeight,
                                             unsigned char* mask) {
  for (std::size_t k = 0; k < n; ++k) {
    const double cube = noiseSd[k] * noiseSd[k] * noiseSd[k];
    const double approx = noiseWeight * cube + trendWeight * trend[k];
    const double margin = 1e-12 * (std::fabs(noiseWeight * cube) + std::fabs(trendWeight * trend[k]));
    // A non-negative margin makes the two exclusive: 1 above, 0 below, 2 neither.
    const int above = env[k] > approx + margin;
    const int below = env[k] < approx - margin;
    mask[k] = static_cast<unsigned char>(kUndecidedCrossing - 2 * below - above);
  }
}

// Eight samples are compared with their predecessors at once: most such runs
// hold no change (a beat changes the mask twice in about 160 samples), and in
// the others the differing bytes point at the changes.
void mask_changes(std::span<const unsigned char> mask, std::vector<std::ptrdiff_t>& rises,
                  std::vector<std::ptrdiff_t>& falls) {
  const auto n = static_cast<std::ptrdiff_t>(mask.size());
  const auto note_change_at = [&](std::ptrdiff_t j) {
    const int d = static_cast<int>(mask[static_cast<std::size_t>(j)]) -
                  static_cast<int>(mask[static_cast<std::size_t>(j - 1)]);
    if (d == 1) rises.push_back(j);
    if (d == -1) falls.push_back(j);
  };
  constexpr std::ptrdiff_t kRun = sizeof(uint64_t);
  std::ptrdiff_t j = 1;
  for (; j + kRun <= n; j += kRun) {
    uint64_t here, before;
    std::memcpy(&here, mask.data() + j, sizeof here);
    std::memcpy(&before, mask.data() + j - 1, sizeof before);
    uint64_t differing = here ^ before;
    // The run's first sample in the lowest byte, whatever the byte order.
    if constexpr (std::endian::native == std::endian::big) differing = __builtin_bswap64(differing);
    while (differing != 0) {
      const int bit = std::countr_zero(differing);
      note_change_at(j + bit / 8);
      differing &= ~(uint64_t{0xFF} << (bit & ~7));
    }
  }
  for (; j < n; ++j) note_change_at(j);
}

// Integer counting is exact in any order, so the loop runs across lanes.
ZYN_WIDEST_VECTORS int64_t sign_steps_about(std::span<const double> x, double mean) {
  int64_t changes = 0;
  for (std::size_t k = 1; k < x.size(); ++k) {
    const int64_t previous = static_cast<int64_t>(x[k - 1] > mean) - static_cast<int64_t>(x[k - 1] < mean);
    const int64_t current = static_cast<int64_t>(x[k] > mean) - static_cast<int64_t>(x[k] < mean);
    const int64_t step = current - previous;
    changes += step < 0 ? -step : step;
  }
  return changes;
}

// Each sample is coded from its neighbours alone, so the loop runs across lanes.
ZYN_WIDEST_VECTORS void code_turning_points(const double* y, std::size_t n, unsigned char* code) {
  for (std::size_t k = 1; k + 1 < n; ++k) {
    const int isMaximum = (y[k] > y[k - 1]) & (y[k + 1] <= y[k]);
    const int isMinimum = (y[k] <= y[k - 1]) & (y[k] < y[k + 1]);
    code[k] = static_cast<unsigned char>(isMaximum * kMaximumCode + isMinimum * kMinimumCode);
  }
}

}  // namespace zyn::beats
