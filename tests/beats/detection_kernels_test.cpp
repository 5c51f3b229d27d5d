// The detector's lane kernels against their plain loops, bit for bit, on
// every processor variant the machine runs: seeded random signals of many
// lengths (so that every partial last vector occurs) with ties, negative
// zeros, infinities and NaN where the kernel must pass them on as the
// plain loop does.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

#include "beats/detection_kernels.hpp"
#include "common/every_variant.hpp"

namespace {

using namespace zyn::beats;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

// Few levels (ties), and now and then a special value.
std::vector<double> signal(std::mt19937_64& rng, std::size_t n, bool specials) {
  std::uniform_int_distribution<int> level(-3, 3);
  std::uniform_int_distribution<int> pick(0, 40);
  std::normal_distribution<double> wide(0.0, 2.0);
  std::vector<double> x(n);
  for (double& v : x) {
    const int p = pick(rng);
    v = p < 20 ? level(rng) : wide(rng);
    if (specials && p == 40) v = kNaN;
    if (specials && p == 39) v = -0.0;
    if (specials && p == 38) v = -kInf;
  }
  return x;
}

bool same_bits(double a, double b) { return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b); }

ZYN_TEST_ON_EVERY_VARIANT(DetectionKernels);

TEST_P(DetectionKernels, SampleBySampleKernelsGiveThePlainLoopsBits) {
  std::mt19937_64 rng(5);
  for (std::size_t n = 0; n < 70; ++n) {
    SCOPED_TRACE(n);
    const auto s = signal(rng, n, true), q = signal(rng, n, true), t = signal(rng, n, true);
    std::vector<double> sd(n);
    standard_deviations_from_sums(s.data(), q.data(), n, 41.0, 40.0, sd.data());
    for (std::size_t j = 0; j < n; ++j) EXPECT_TRUE(same_bits(sd[j], std::sqrt((q[j] - s[j] * s[j] / 41.0) / 40.0)));

    std::vector<unsigned char> mask(n, 9);
    mark_clear_crossings(s.data(), q.data(), t.data(), n, 3.0, 0.5, mask.data());
    for (std::size_t k = 0; k < n; ++k) {
      const double cube = q[k] * q[k] * q[k];
      const double approx = 3.0 * cube + 0.5 * t[k];
      const double margin = 1e-12 * (std::fabs(3.0 * cube) + std::fabs(0.5 * t[k]));
      const int expected = s[k] > approx + margin ? 1 : s[k] < approx - margin ? 0 : kUndecidedCrossing;
      EXPECT_EQ(mask[k], expected) << k;
    }

    std::vector<unsigned char> code(n, 9);
    code_turning_points(s.data(), n, code.data());
    for (std::size_t k = 1; k + 1 < n; ++k) {
      const bool isMaximum = s[k] > s[k - 1] && s[k + 1] <= s[k];
      const bool isMinimum = s[k] <= s[k - 1] && s[k] < s[k + 1];
      EXPECT_EQ(code[k], isMaximum ? kMaximumCode : isMinimum ? kMinimumCode : 0) << k;
    }
    if (n > 0) {
      EXPECT_EQ(code[0], 9);  // the ends are left alone
      EXPECT_EQ(code[n - 1], 9);
    }
  }
}

TEST_P(DetectionKernels, ReductionsGiveThePlainLoopsResults) {
  std::mt19937_64 rng(6);
  for (std::size_t n = 1; n < 70; ++n) {
    SCOPED_TRACE(n);
    for (bool specials : {false, true}) {
      const auto x = signal(rng, n, specials);
      int64_t steps = 0;
      const auto sign = [](double v) { return (v > 0.25) - (v < 0.25); };
      for (std::size_t k = 1; k < n; ++k) steps += std::abs(sign(x[k]) - sign(x[k - 1]));
      EXPECT_EQ(sign_steps_about(x, 0.25), steps);

      double running = x[0];
      bool anyNan = false;
      for (double v : x) {
        running = running > v ? running : v;
        anyNan = anyNan || std::isnan(v);
      }
      double largest = 12345.0;
      EXPECT_EQ(largest_if_no_nan(x, largest), !anyNan);
      if (!anyNan) {
        EXPECT_EQ(largest, running);  // a zero maximum may differ in sign only
      }

      double magnitude = -1.0;
      for (double v : x) magnitude = std::fabs(v) > magnitude ? std::fabs(v) : magnitude;
      EXPECT_EQ(largest_magnitude(x, -1.0), magnitude);

      for (std::size_t from = 0; from < n; from += 3) {
        bool atLeast = false;
        for (std::size_t i = from; i < n; ++i) atLeast = atLeast || x[i] >= 2.0;
        EXPECT_EQ(any_at_least(x, from, n - 1, 2.0), atLeast) << from;
      }
    }
  }
}

}  // namespace
