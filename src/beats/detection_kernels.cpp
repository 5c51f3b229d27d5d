// Kernels of the R-peak detector (see the header). Loops whose lanes are
// independent are compiled per vector unit; each lane performs the scalar
// IEEE operations in the scalar order (the build never contracts them into
// fused multiply-adds), so every variant gives the plain loop's bits.
#include "beats/detection_kernels.hpp"

#include <bit>
#include <cmath>
#include <cstring>

#include "runtime/simd.hpp"
#include "toolbox/reductions.hpp"

namespace zyn::beats {
namespace {

// The plain correlation of one window with the template.
double correlate_with(std::span<const double> tmpl, double tmplSumSquares, std::span<const double> y) {
  const std::size_t n = y.size();
  if (n != tmpl.size()) return std::numeric_limits<double>::quiet_NaN();
  const double nm1 = static_cast<double>(n) - 1.0;
  if (n == 1) return std::numeric_limits<double>::quiet_NaN();  // zero covariance over zero spread
  const double mean = sum(y) / static_cast<double>(n);
  double syy = 0.0, sxy = 0.0;
  for (std::size_t k = 0; k < n; ++k) {
    const double c = y[k] - mean;
    syy += c * c;
    sxy += tmpl[k] * c;
  }
  const double cxx = tmplSumSquares / nm1;
  const double cyy = syy / nm1;
  const double cxy = sxy / nm1;
  return cxy / (std::sqrt(cyy) * std::sqrt(cxx));
}

// The correlations for the windows centred on count consecutive samples, the
// first centred on 0-based index first of x; out[u] for centre first + u.
// Eight windows are worked on together, one to a vector lane: each lane
// keeps its own sums, added in sample order as above (a vector addition is
// the scalar addition in every lane), so the results are the same, but the
// independent sums run side by side instead of one after another.
constexpr std::size_t kLanesPerRun = 8;  // the lanes of EightDoubles
// Up to this many groups of eight windows advance together: one group's sums
// are a chain of dependent additions, and several chains keep the adders busy.
constexpr std::size_t kMaxGroupsSideBySide = 4;

// A division by a power of two and the multiplication by its reciprocal
// round the same exact quotient, so they give the same bits; the
// multiplication is far cheaper. With h = 0.08 s at 200 Hz the covariance
// divisor 2h is 32.
bool is_power_of_two(double d) {
  int exponent = 0;
  return d > 0.0 && std::frexp(d, &exponent) == 0.5;
}

// The correlations of the 8 * Groups windows of n samples starting at y,
// y + 1, ... into out (lane l of group g holds the window starting at
// y + 8g + l). DivisorIsPowerOfTwo: n - 1 is a power of two (see above).
template <std::size_t Groups, bool DivisorIsPowerOfTwo>
[[gnu::always_inline]] inline void correlate_groups(const double* tmpl, const double* y, std::size_t n, double cxx,
                                                    double* out) {
  const double nm1 = static_cast<double>(n) - 1.0;
  const double inverse = 1.0 / nm1;
  const auto per_degree_of_freedom = [nm1, inverse](double v) {
    if constexpr (DivisorIsPowerOfTwo) {
      return v * inverse;
    } else {
      return v / nm1;
    }
  };
  const auto load_samples = [y](std::size_t g, std::size_t k, EightDoubles& v) {
    load_eight(y + g * kLanesPerRun + k, v);
  };
  EightDoubles s[Groups], mean[Groups], syy[Groups], sxy[Groups], v;
  for (std::size_t g = 0; g < Groups; ++g) load_samples(g, 0, s[g]);
  for (std::size_t k = 1; k < n; ++k) {
    for (std::size_t g = 0; g < Groups; ++g) {
      load_samples(g, k, v);
      s[g] += v;
    }
  }
  for (std::size_t g = 0; g < Groups; ++g) {
    mean[g] = s[g] / static_cast<double>(n);
    syy[g] = EightDoubles{};
    sxy[g] = EightDoubles{};
  }
  for (std::size_t k = 0; k < n; ++k) {
    const double t = tmpl[k];
    for (std::size_t g = 0; g < Groups; ++g) {
      load_samples(g, k, v);
      const EightDoubles c = v - mean[g];
      syy[g] += c * c;
      sxy[g] += t * c;
    }
  }
  for (std::size_t g = 0; g < Groups; ++g) {
    for (std::size_t l = 0; l < kLanesPerRun; ++l) {
      out[g * kLanesPerRun + l] =
          per_degree_of_freedom(sxy[g][l]) / (std::sqrt(per_degree_of_freedom(syy[g][l])) * std::sqrt(cxx));
    }
  }
}

template <bool DivisorIsPowerOfTwo>
[[gnu::always_inline]] inline void correlate_up_to_four_groups(std::size_t groups, const double* tmpl,
                                                               const double* y, std::size_t n, double cxx,
                                                               double* out) {
  static_assert(kMaxGroupsSideBySide == 4);
  switch (groups) {
    case 1: correlate_groups<1, DivisorIsPowerOfTwo>(tmpl, y, n, cxx, out); break;
    case 2: correlate_groups<2, DivisorIsPowerOfTwo>(tmpl, y, n, cxx, out); break;
    case 3: correlate_groups<3, DivisorIsPowerOfTwo>(tmpl, y, n, cxx, out); break;
    default: correlate_groups<4, DivisorIsPowerOfTwo>(tmpl, y, n, cxx, out); break;
  }
}

}  // namespace

ZYN_WIDEST_VECTORS void correlate_windows(std::span<const double> centredTemplate, double templateSumSquares,
                                          std::span<const double> x, std::size_t first, std::size_t count,
                                          std::span<double> out) {
  const std::size_t n = centredTemplate.size();
  const std::size_t h = n / 2;
  const double* tmpl = centredTemplate.data();
  if (n % 2 == 0 || n < 2) {
    for (std::size_t u = 0; u < count; ++u) {
      out[u] = correlate_with(centredTemplate, templateSumSquares, x.subspan(first + u - h, n));
    }
    return;
  }
  const double cxx = templateSumSquares / (static_cast<double>(n) - 1.0);
  const bool powerOfTwo = is_power_of_two(static_cast<double>(n) - 1.0);
  double results[kLanesPerRun * kMaxGroupsSideBySide];
  std::size_t u = 0;
  while (u < count) {
    // A last group may run past count (its extra windows are dropped) as
    // long as its windows stay inside x; otherwise whole groups only, and the
    // rest one window at a time.
    std::size_t groups = std::min(kMaxGroupsSideBySide, (count - u + kLanesPerRun - 1) / kLanesPerRun);
    if (first + u + groups * kLanesPerRun - 1 + h >= x.size()) groups = (count - u) / kLanesPerRun;
    if (groups == 0) break;
    const double* y = x.data() + first + u - h;
    if (powerOfTwo) {
      correlate_up_to_four_groups<true>(groups, tmpl, y, n, cxx, results);
    } else {
      correlate_up_to_four_groups<false>(groups, tmpl, y, n, cxx, results);
    }
    const std::size_t done = std::min(groups * kLanesPerRun, count - u);
    std::copy_n(results, done, out.begin() + static_cast<std::ptrdiff_t>(u));
    u += done;
  }
  for (; u < count; ++u) out[u] = correlate_with(centredTemplate, templateSumSquares, x.subspan(first + u - h, n));
}

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
