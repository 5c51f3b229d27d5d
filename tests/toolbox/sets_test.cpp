// Duplicate removal with the run-head tolerance, union, membership and set
// difference: known answers and seeded random comparisons with std::set.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <random>
#include <set>

#include "common/records.hpp"
#include "toolbox/sets.hpp"
#include "zynecgsolver/toolbox_search.h"

namespace {

using namespace zyn::testing;
using Reals = std::vector<double>;
using Ints = std::vector<int32_t>;

// Bitwise equality (-0.0 differs from 0.0), with any NaN equal to any NaN.
bool same_bits(const Reals& a, const Reals& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](double x, double y) {
    return std::bit_cast<uint64_t>(x) == std::bit_cast<uint64_t>(y) || (std::isnan(x) && std::isnan(y));
  });
}

Ints random_sorted_ints(std::mt19937& rng, int32_t maxValue) {
  Ints v(std::uniform_int_distribution<std::size_t>(0, 40)(rng));
  for (auto& x : v) x = std::uniform_int_distribution<int32_t>(-maxValue, maxValue)(rng);
  std::sort(v.begin(), v.end());
  return v;
}

TEST(Unique, NonFiniteValuesOrderedNaNsNeverMergedFirstOccurrencesKept) {
  auto a = record(Reals{2, 1, kNaN, 1, -kInf, kNaN, -kInf, kInf, kInf}, true);
  auto b = zyn::make_record<emxArray_real_T>(2), ndx = zyn::make_record<emxArray_real_T>(2);
  m_unique(a.get(), b.get());
  EXPECT_EQ(shape(b), (Ints{1, 6}));
  EXPECT_TRUE(same_bits(contents(b), {-kInf, 1, 2, kInf, kNaN, kNaN}));
  m_b_unique(a.get(), b.get(), ndx.get());
  EXPECT_TRUE(same_bits(contents(b), {-kInf, 1, 2, kInf, kNaN, kNaN}));
  EXPECT_EQ(contents(ndx), (Reals{5, 2, 1, 8, 3, 6}));
}

TEST(Unique, ToleranceIsHalfTheSpacingAtTheRunHead) {
  // eps(head / 2) is half the spacing of doubles at the head: a chain of
  // neighbouring doubles never collapses onto its head, each link stays.
  Reals up{1.0}, down{-1.0};
  for (int k = 0; k < 4; ++k) {
    up.push_back(std::nextafter(up.back(), 2.0));
    down.push_back(std::nextafter(down.back(), 0.0));
  }
  EXPECT_TRUE(same_bits(zyn::unique_values(up), up));
  EXPECT_TRUE(same_bits(zyn::unique_values(down), down));
  // Signed zeros are one run; its head (the first in input order) is kept.
  const auto zeros = zyn::unique_values_with_positions(Reals{0.0, -0.0, 0.0});
  EXPECT_TRUE(same_bits(zeros.values, {0.0}));
  std::mt19937_64 rng(7);
  for (int trial = 0; trial < 20000; ++trial) {
    const double h = std::bit_cast<double>(rng()), v = std::nextafter(h, trial % 2 ? kInf : -kInf);
    if (std::isfinite(h) && std::isfinite(v)) {
      ASSERT_FALSE(zyn::near_duplicate(h, v)) << h;
    }
  }
  EXPECT_TRUE(zyn::near_duplicate(-kInf, -kInf));
  EXPECT_FALSE(zyn::near_duplicate(-kInf, kInf));
  EXPECT_FALSE(zyn::near_duplicate(kNaN, kNaN));
}

TEST(Sets, KnownAnswers) {
  auto c = zyn::make_record<emxArray_int32_T>(2);
  m_union(record(Ints{1, 1, 3}, true).get(), record(Ints{2, 3, 3}, true).get(), c.get());
  EXPECT_EQ(contents(c), (Ints{1, 2, 3}));

  auto tf = zyn::make_record<emxArray_boolean_T>(2);
  auto a = record(Ints{5, 1, 9, 4}, true);
  m_ismember(a.get(), record(Ints{1, 4, 4, 7, 9}, true).get(), tf.get());
  EXPECT_EQ(contents(tf), (std::vector<unsigned char>{0, 1, 1, 1}));
  const Ints extremes{std::numeric_limits<int32_t>::min(), -1, 0, std::numeric_limits<int32_t>::max()};
  EXPECT_EQ(zyn::is_member(extremes, extremes), (std::vector<unsigned char>(4, 1)));

  auto d = zyn::make_record<emxArray_real_T>(2);
  m_setdiff(record(Reals{1, 2, 3}, true).get(), record(Reals{2}, true).get(), d.get());
  EXPECT_EQ(shape(d), (Ints{1, 2}));
  EXPECT_EQ(contents(d), (Reals{1, 3}));
  EXPECT_TRUE(same_bits(zyn::set_difference(Reals{-kInf, 0, kInf, kInf, kNaN}, Reals{-kInf, kInf, kNaN}),
                        {0, kNaN}));
}

TEST(Sets, RandomRowsMatchStdSet) {
  std::mt19937 rng(3);
  for (int trial = 0; trial < 500; ++trial) {
    const Ints a = random_sorted_ints(rng, 12), b = random_sorted_ints(rng, 12);
    const std::set<int32_t> sa(a.begin(), a.end()), sb(b.begin(), b.end());
    std::set<int32_t> both = sa;
    both.insert(b.begin(), b.end());
    ASSERT_EQ(zyn::union_sorted(a, b), Ints(both.begin(), both.end()));

    const auto found = zyn::is_member(a, b);
    for (std::size_t i = 0; i < a.size(); ++i) ASSERT_EQ(found[i] != 0, sb.count(a[i]) == 1);

    Reals onlyA;
    std::set_difference(sa.begin(), sa.end(), sb.begin(), sb.end(), std::back_inserter(onlyA));
    ASSERT_EQ(zyn::set_difference(Reals(a.begin(), a.end()), Reals(b.begin(), b.end())), onlyA);

    const Reals x(a.rbegin(), a.rend());  // unsorted input with repeats
    const auto u = zyn::unique_values_with_positions(x);
    ASSERT_EQ(u.values, Reals(sa.begin(), sa.end()));
    for (std::size_t k = 0; k < u.values.size(); ++k)
      ASSERT_EQ(u.positions[k], std::find(x.begin(), x.end(), u.values[k]) - x.begin() + 1);
  }
}

}  // namespace

namespace {

// Distinct counts are those of the definition (elements unequal to every
// element before them), capped: many ties, signed zeros and NaNs, caps below,
// at and above the count, and enough values to make the table probe.
TEST(DistinctCount, IsTheCountOfElementsUnequalToEveryEarlierOneCapped) {
  std::mt19937_64 rng(4);
  std::uniform_int_distribution<int> level(-40, 40);
  for (std::size_t n : {0u, 1u, 5u, 300u, 5000u}) {
    std::vector<double> x(n);
    for (std::size_t i = 0; i < n; ++i) {
      const int v = level(rng);
      x[i] = v == 0 ? (i % 2 ? 0.0 : -0.0) : v == 40 ? kNaN : v * 0.125;
    }
    std::size_t distinct = 0;
    for (std::size_t i = 0; i < n; ++i) {
      distinct += std::none_of(x.begin(), x.begin() + static_cast<std::ptrdiff_t>(i),
                               [&](double earlier) { return earlier == x[i]; });
    }
    for (std::size_t cap : {0u, 1u, 3u, 50u, 79u, 80u, 10000u}) {
      EXPECT_EQ(zyn::count_distinct_up_to(x, cap), std::min(distinct, cap)) << "n " << n << " cap " << cap;
    }
  }
}

}  // namespace
