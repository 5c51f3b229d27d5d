// Centred window extremes against their definition, for the vectorised path
// (no NaN, no -0) on every processor variant and the fixed-order path, on
// seeded random signals.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "beats/signal_kernels.hpp"
#include "common/every_variant.hpp"

namespace {

constexpr double kUntouched = -12345.0;

ZYN_TEST_ON_EVERY_VARIANT(WindowExtremesOnEveryVariant);

TEST_P(WindowExtremesOnEveryVariant, MaximaAndRangesEqualTheirDefinition) {
  std::mt19937_64 rng(42);
  std::uniform_int_distribution<int> level(-4, 4);  // many ties, +0 among them
  std::normal_distribution<double> wide(0.0, 1e3);
  for (std::size_t n : {1u, 2u, 11u, 41u, 300u, 1001u, 3000u}) {
    for (std::size_t half : {0u, 1u, 5u, 10u, 20u, 150u}) {
      for (int shape = 0; shape < 3; ++shape) {
        std::vector<double> x(n);
        for (double& v : x) v = shape == 0 ? level(rng) : wide(rng);
        if (shape == 2 && n > 3) x[n / 2] = -0.0;  // takes the fixed-order path
        ASSERT_EQ(zyn::beats::extremes_are_order_free(x), shape < 2 || n <= 3);
        std::vector<double> mx(n, kUntouched), range(n, kUntouched);
        zyn::beats::sliding_max_centred(x, half, mx);
        zyn::beats::sliding_range_centred(x, half, range);
        for (std::size_t k = 0; k < n; ++k) {
          SCOPED_TRACE(testing::Message() << "n " << n << " half " << half << " shape " << shape << " k " << k);
          if (k < half || k + half >= n) {
            EXPECT_EQ(mx[k], kUntouched);
            EXPECT_EQ(range[k], kUntouched);
            continue;
          }
          const auto first = x.begin() + static_cast<std::ptrdiff_t>(k - half);
          const auto past = x.begin() + static_cast<std::ptrdiff_t>(k + half + 1);
          const double hi = *std::max_element(first, past), lo = *std::min_element(first, past);
          EXPECT_EQ(mx[k], hi);
          EXPECT_EQ(range[k], hi - lo);
        }
      }
    }
  }
  EXPECT_FALSE(zyn::beats::extremes_are_order_free(std::vector<double>{std::nan(""), 1.0}));
}

TEST(WindowExtremes, NanAndNegativeZeroFollowTheFixedComparisonOrder) {
  // Within blocks of one window width the pick keeps the later sample unless
  // the earlier one is strictly larger: NaN loses to 3, and of the zeros in
  // {-0, +0, -0} the last -0 survives.
  const std::vector<double> x{1.0, NAN, 3.0, -0.0, 0.0, -0.0, 5.0};
  std::vector<double> mx(x.size(), kUntouched);
  zyn::beats::sliding_max_centred(x, 1, mx);
  EXPECT_EQ(mx[1], 3.0);
  EXPECT_EQ(mx[4], 0.0);
  EXPECT_TRUE(std::signbit(mx[4]));
  EXPECT_EQ(mx[5], 5.0);
}

}  // namespace
