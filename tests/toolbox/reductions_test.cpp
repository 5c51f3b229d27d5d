// Reductions and elementwise operations: tie and empty-input rules of the
// extremes, sums and means, median known answers and a seeded comparison with
// a stable sort, variance, difference shapes, the reciprocal division,
// remainder, lengths, equality and fills.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "runtime/emx.hpp"
#include "common/every_variant.hpp"
#include "common/records.hpp"
#include "toolbox/reductions.hpp"
#include "zynecgsolver/toolbox_reductions.h"

namespace {

using namespace zyn::testing;
using V = std::vector<double>;
using Shape = std::vector<int32_t>;

// Shape and values of an output record, for one comparison.
struct Out {
  Shape shape;
  V values;
  bool operator==(const Out&) const = default;
};
Out out_of(const emxArray_real_T* r) {
  const auto e = zyn::elements(r);
  return {{r->size[0], r->size[1]}, {e.begin(), e.end()}};
}
template <class F, class... Args>
Out call(F f, Args&&... args) {
  auto y = empty_output();
  f(std::forward<Args>(args)..., y.get());
  return out_of(y.get());
}

bool same_bits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

TEST(Extremes, TiesKeepTheFirstPositionEmptyGivesNaNAndWalksReadTheirExtent) {
  double value = 0.0, position = 0.0;
  m_e_max(row_of({3, 7, 7, 2}).get(), &value, &position);
  EXPECT_EQ(std::pair(value, position), std::pair(7.0, 2.0));
  m_f_max(column_of({}).get(), &value, &position);
  EXPECT_TRUE(std::isnan(value));
  EXPECT_EQ(position, 0.0);
  for (auto* f : {m_max, m_min, m_b_max, m_b_min}) EXPECT_TRUE(std::isnan(f(column_of({}).get())));
  EXPECT_EQ(m_max(column_of({2, -1, 9, 4}).get()), 9.0);
  EXPECT_EQ(m_min(column_of({2, -1, 9, 4}).get()), -1.0);
  EXPECT_EQ(m_range_emlc(row_of({2, -1, 9, 4}).get()), 10.0);
  EXPECT_EQ(m_max(row_of({1, 8, 3}).get()), 1.0);  // a 1 x 3 row has one position in its column walk
  EXPECT_EQ(m_b_max(row_of({1, 8, 3}).get()), 8.0);
  // Rows {1 5 3} and {6 2 4}.
  EXPECT_EQ(call(m_d_max, real_array(2, 3, {1, 6, 5, 2, 3, 4}).get()), (Out{{2, 1}, {5, 6}}));
}

TEST(Extremes, ScalarPairsReturnTheFirstOnTiesAndTheSecondBesideNaN) {
  EXPECT_TRUE(std::signbit(m_c_max(-0.0, 0.0)));
  EXPECT_FALSE(std::signbit(m_c_min(0.0, -0.0)));
  EXPECT_EQ(m_c_max(kNaN, 3.0), 3.0);
  EXPECT_TRUE(std::isnan(m_c_max(3.0, kNaN)));
  EXPECT_EQ(m_c_min(kNaN, 3.0), 3.0);
  EXPECT_TRUE(std::isnan(m_c_min(3.0, kNaN)));
  // The running maximum takes a NaN over and the next element displaces it.
  EXPECT_EQ(zyn::max_value(V{1.0, kNaN, 0.5}), 0.5);
}

TEST(SumsAndMoments, EmptyInputShapesAndSmallSamples) {
  EXPECT_EQ(m_sum(column_of({}).get()), 0.0);
  EXPECT_EQ(m_d_sum(row_of({1, 2, 3.5}).get()), 6.5);
  EXPECT_TRUE(std::signbit(zyn::sum(V{-0.0})));
  EXPECT_TRUE(std::isnan(m_mean(column_of({}).get())));
  EXPECT_EQ(m_b_mean(row_of({1, 2, 3, 6}).get()), 3.0);
  EXPECT_EQ(call(m_c_sum, real_array(2, 3, {1, 2, 3, 4, 5, 6}).get()), (Out{{1, 3}, {3, 7, 11}}));
  EXPECT_EQ(call(m_c_sum, real_array(0, 3, {}).get()), (Out{{1, 3}, {0, 0, 0}}));
  auto flags = record(std::vector<unsigned char>{1, 0, 1, 1});
  EXPECT_EQ(m_e_sum(flags.get()), 3.0);
  EXPECT_FALSE(m_all(flags.get()));
  zyn::resize(flags.get(), {0, 1});
  EXPECT_TRUE(m_all(flags.get()));
  EXPECT_EQ(m_var(column_of({5}).get()), 0.0);
  EXPECT_EQ(m_var(column_of({1, 2, 3, 4}).get()), 1.6666666666666667);
  EXPECT_TRUE(std::isnan(m_var(column_of({}).get())));
  EXPECT_EQ(m_std(column_of({2, 4, 4, 4, 5, 5, 7, 9}).get()), std::sqrt(32.0 / 7.0));
}

// Infinities and magnitudes near the overflow limit, which the seeded
// comparison below never draws; NaN sorts last.
TEST(Median, KnownAnswersOfExtremeValues) {
  const std::pair<V, double> cases[] = {
      {{-kInf, 3}, -kInf}, {{1e308, 1.5e308}, 1.25e308}, {{-1e308, -1.5e308}, -1.25e308}, {{kNaN, 2, 1}, 2.0}};
  for (const auto& [x, median] : cases) EXPECT_EQ(m_median(column_of(x).get()), median) << x[0];
  EXPECT_EQ(m_b_median(row_of({9, 1, 5, 5, 2}).get()), 5.0);
  EXPECT_TRUE(std::isnan(m_median(column_of({}).get())));
}

// The median of a stable sorted copy, by the two midpoint formulas.
double median_by_sorting(V v) {
  std::stable_sort(v.begin(), v.end(), [](double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); });
  const std::size_t n = v.size();
  if (n % 2 == 1) return v[n / 2];
  const double lo = v[n / 2 - 1], hi = v[n / 2];
  if ((lo < 0) == (hi < 0) && std::isfinite(lo) && std::isfinite(hi)) return lo + (hi - lo) / 2;
  return (lo + hi) / 2;
}

// Short inputs of both parities, and long ones that take one or more sampled brackets;
// uneven ones (sorted, heavy ties, NaN, signed zeros, a bracket that misses)
// must give the same bits, and the input is not reordered; on every
// processor variant.
ZYN_TEST_ON_EVERY_VARIANT(MedianKernels);
TEST_P(MedianKernels, EqualsTheMiddleOfASortedCopyBitForBit) {
  std::mt19937_64 rng(7);
  std::normal_distribution<double> normal(0.0, 1e3);
  std::uniform_int_distribution<int> tie(-3, 3);
  for (int shape = 0; shape < 6; ++shape) {
    for (std::size_t n : {1u, 2u, 3u, 8u, 13u, 60u, 61u, 2048u, 5001u, 16384u, 119936u}) {
      std::vector<double> x(n);
      for (std::size_t i = 0; i < n; ++i) {
        switch (shape) {
          case 0: x[i] = normal(rng); break;
          case 1: x[i] = tie(rng) == 0 ? (i % 2 ? 0.0 : -0.0) : tie(rng) * 0.5; break;
          case 2: x[i] = static_cast<double>(i); break;                     // ascending
          case 3: x[i] = i % 50 == 7 ? kNaN : normal(rng); break;
          case 4: x[i] = i < n / 2 + 3 ? 1.0 : normal(rng); break;          // sample misses the ties
          default: x[i] = i % 2048 == 0 ? kNaN : -static_cast<double>(i);  // NaN only in the sample
        }
      }
      const auto before = x;
      ASSERT_TRUE(same_bits(zyn::median(x), median_by_sorting(x))) << "shape " << shape << " n " << n;
      ASSERT_EQ(std::memcmp(x.data(), before.data(), n * sizeof(double)), 0);
    }
  }
}

// Windows of every short width and just beyond, overlapping, in groups of
// eight and a partial last group; ties of signed zeros and NaN windows too.
TEST_P(MedianKernels, OfWindowsEqualTheMiddleOfEachSortedWindowBitForBit) {
  std::mt19937_64 rng(9);
  std::uniform_int_distribution<int> level(-4, 4);
  std::vector<double> x(3000);
  for (std::size_t i = 0; i < x.size(); ++i) {
    const int v = level(rng);
    x[i] = v == 0 ? (i % 3 ? 0.0 : -0.0) : v * 0.25 + (i % 7 == 0 ? 1e-9 * static_cast<double>(i) : 0.0);
    if (i % 401 == 17) x[i] = kNaN;
  }
  for (std::size_t width : {1u, 2u, 3u, 4u, 17u, 33u, 40u, 63u, 64u, 65u, 81u}) {
    std::vector<std::size_t> starts;
    for (std::size_t s = 0; s + width <= x.size(); s += 1 + s % 5) starts.push_back(s);
    starts.resize(starts.size() - starts.size() % 8 + 3);  // a group of three last
    std::vector<double> medians(starts.size());
    zyn::window_medians(x, starts, width, medians);
    for (std::size_t w = 0; w < starts.size(); ++w) {
      const V window(x.begin() + static_cast<std::ptrdiff_t>(starts[w]),
                     x.begin() + static_cast<std::ptrdiff_t>(starts[w] + width));
      ASSERT_TRUE(same_bits(medians[w], median_by_sorting(window)))
          << "width " << width << " start " << starts[w];
    }
  }
}

TEST(Differences, LengthRulesOfBothOrientations) {
  EXPECT_EQ(call(m_diff, column_of({}).get()), (Out{{0, 1}, {}}));
  EXPECT_EQ(call(m_diff, column_of({4}).get()), (Out{{0, 0}, {}}));
  EXPECT_EQ(call(m_diff, column_of({1, 4, 2}).get()), (Out{{2, 1}, {3, -2}}));
  EXPECT_EQ(call(m_b_diff, row_of({}).get()), (Out{{1, 0}, {}}));
  EXPECT_EQ(call(m_b_diff, row_of({4}).get()), (Out{{0, 0}, {}}));
  EXPECT_EQ(call(m_b_diff, row_of({1, 4, 2, 2}).get()), (Out{{1, 3}, {3, -2, 0}}));
  double x17[17], y16[16];
  for (int k = 0; k < 17; ++k) x17[k] = k * k;
  m_c_diff(x17, y16);
  for (int k = 0; k < 16; ++k) EXPECT_EQ(y16[k], 2 * k + 1);
}

// Division by a scalar multiplies by its reciprocal: 49 * (1 / 49), not 49 / 49.
TEST(Elementwise, DivisionRemainderAndAbsoluteValues) {
  EXPECT_EQ(call(m_c_rdivide, row_of({49, 98, 7}).get(), 49.0),
            (Out{{1, 3}, {0.9999999999999999, 98.0 * (1.0 / 49.0), 7.0 * (1.0 / 49.0)}}));
  EXPECT_EQ(call(m_b_mrdivide, row_of({49}).get(), 49.0).values, V{0.9999999999999999});
  const Out q = call(m_b_rdivide, column_of({49, 1, 0}).get(), column_of({49, 0, 0}).get());
  EXPECT_EQ(q.shape, (Shape{3, 1}));
  EXPECT_TRUE(q.values[0] == 1.0 && q.values[1] == kInf && std::isnan(q.values[2]));
  EXPECT_EQ(m_mrdivide(-1.0, 0.0), -kInf);
  EXPECT_EQ(call(m_mod, row_of({-3, 2.5, 4, 7, -2.5}).get()), (Out{{1, 5}, {1, 0.5, 0, 1, 1.5}}));
  const Out a = call(m_abs, real_array(2, 2, {-1, 2, -0.0, -4}).get());
  EXPECT_EQ(a, (Out{{2, 2}, {1, 2, 0, 4}}));
  EXPECT_FALSE(std::signbit(a.values[2]));
}

TEST(Shapes, LengthsEqualityAndFills) {
  EXPECT_EQ(m_length(real_array(0, 5, {}).get()), 0.0);
  EXPECT_EQ(m_b_length(real_array(3, 7, V(21)).get()), 7.0);
  EXPECT_TRUE(m_isequal(row_of({1, kNaN}).get(), row_of({1, kNaN}).get()));
  EXPECT_FALSE(m_isequal(row_of({1, 2}).get(), row_of({1, 3}).get()));
  EXPECT_FALSE(m_isequal(row_of({1, 2}).get(), column_of({1, 2}).get()));
  EXPECT_TRUE(m_isequal(real_array(1, 0, {}).get(), real_array(1, 0, {}).get()));
  EXPECT_EQ(call(m_repmat, 2.5, 3.9), (Out{{1, 3}, {2.5, 2.5, 2.5}}));
  for (double count : {0.5, -2.0, kNaN}) EXPECT_EQ(call(m_repmat, 1.0, count), (Out{{1, 0}, {}}));
}

}  // namespace
