// Duplicate removal with the run-head tolerance, union, membership and set
// difference: known answers and seeded random comparisons with std::set.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <set>
#include <vector>

#include "runtime/emx.hpp"
#include "toolbox/sets.hpp"
#include "zynecgsolver/toolbox_search.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

template <class T>
zyn::RecordPtr<typename zyn::RecordFor<T>::type> row_record(const std::vector<T>& v) {
  auto r = zyn::make_record<typename zyn::RecordFor<T>::type>(2);
  zyn::assign_row(r.get(), v);
  return r;
}
template <class Record>
auto contents(const Record* r) {
  const auto e = zyn::elements(r);
  return std::vector<std::remove_const_t<typename decltype(e)::element_type>>(e.begin(), e.end());
}

// Bitwise comparison, so that NaN equals NaN and -0.0 differs from 0.0.
bool same_bits(const std::vector<double>& a, const std::vector<double>& b) {
  return a.size() == b.size() &&
         std::equal(a.begin(), a.end(), b.begin(), [](double x, double y) {
           return std::bit_cast<uint64_t>(x) == std::bit_cast<uint64_t>(y) ||
                  (std::isnan(x) && std::isnan(y));
         });
}

std::vector<int32_t> random_sorted_ints(std::mt19937& rng, int32_t maxValue) {
  std::vector<int32_t> v(std::uniform_int_distribution<std::size_t>(0, 40)(rng));
  for (auto& x : v) x = std::uniform_int_distribution<int32_t>(-maxValue, maxValue)(rng);
  std::sort(v.begin(), v.end());
  return v;
}

TEST(Unique, NonFiniteValuesOrderedAndNaNsNeverMerged) {
  auto a = row_record(std::vector<double>{2, 1, kNaN, 1, -kInf, kNaN, -kInf});
  auto b = zyn::make_record<emxArray_real_T>(2);
  auto ndx = zyn::make_record<emxArray_real_T>(2);
  m_unique(a.get(), b.get());
  EXPECT_EQ(b->size[0], 1);
  EXPECT_TRUE(same_bits(contents(b.get()), {-kInf, 1, 2, kNaN, kNaN}));
  m_b_unique(a.get(), b.get(), ndx.get());
  EXPECT_TRUE(same_bits(contents(b.get()), {-kInf, 1, 2, kNaN, kNaN}));
  // First occurrences, and each NaN at its own position.
  EXPECT_EQ(contents(ndx.get()), (std::vector<double>{5, 2, 1, 3, 6}));

  auto inf = row_record(std::vector<double>{kInf, 3, kInf, 3, kNaN});
  m_b_unique(inf.get(), b.get(), ndx.get());
  EXPECT_TRUE(same_bits(contents(b.get()), {3, kInf, kNaN}));
  EXPECT_EQ(contents(ndx.get()), (std::vector<double>{2, 1, 5}));

  auto empty = row_record(std::vector<double>{});
  m_b_unique(empty.get(), b.get(), ndx.get());
  EXPECT_EQ(b->size[1], 0);
  EXPECT_EQ(ndx->size[1], 0);
}

TEST(Unique, ToleranceIsHalfTheSpacingAtTheRunHead) {
  // The tolerance eps(head / 2) is half the spacing of doubles at the head, so
  // a chain of neighbouring doubles never collapses onto its head: each
  // value one spacing further along starts a run of its own.
  std::vector<double> chain{1.0};
  for (int k = 0; k < 4; ++k) chain.push_back(std::nextafter(chain.back(), 2.0));
  EXPECT_TRUE(same_bits(zyn::unique_values(chain), chain));
  std::vector<double> below{-1.0};
  for (int k = 0; k < 4; ++k) below.push_back(std::nextafter(below.back(), 0.0));
  EXPECT_TRUE(same_bits(zyn::unique_values(below), below));

  // Signed zeros differ by less than the tolerance: one run, its head kept.
  const auto zeros = zyn::unique_values_with_positions(std::vector<double>{0.0, -0.0, 0.0});
  EXPECT_TRUE(same_bits(zeros.values, {0.0}));
  EXPECT_EQ(zeros.positions, (std::vector<int32_t>{1}));

  EXPECT_TRUE(zyn::near_duplicate(kInf, kInf));
  EXPECT_TRUE(zyn::near_duplicate(-kInf, -kInf));
  EXPECT_FALSE(zyn::near_duplicate(-kInf, kInf));
  EXPECT_FALSE(zyn::near_duplicate(kNaN, kNaN));
  EXPECT_FALSE(zyn::near_duplicate(1.0, kNaN));
}

TEST(Unique, RandomBitPatternsMergeOnlyEqualValues) {
  std::mt19937_64 rng(7);
  for (int trial = 0; trial < 100000; ++trial) {
    const double h = std::bit_cast<double>(rng());
    const double v = std::nextafter(h, (trial % 2 == 0) ? kInf : -kInf);
    if (!std::isfinite(h) || !std::isfinite(v)) continue;
    ASSERT_FALSE(zyn::near_duplicate(h, v)) << h;
    ASSERT_TRUE(zyn::near_duplicate(h, h)) << h;
  }
}

TEST(Unique, RandomIntegersMatchStdSetWithFirstOccurrences) {
  std::mt19937 rng(11);
  for (int trial = 0; trial < 300; ++trial) {
    std::vector<double> x(std::uniform_int_distribution<std::size_t>(0, 60)(rng));
    for (auto& v : x) v = std::uniform_int_distribution<int>(-10, 10)(rng);
    const auto u = zyn::unique_values_with_positions(x);
    const std::set<double> expected(x.begin(), x.end());
    ASSERT_EQ(u.values, std::vector<double>(expected.begin(), expected.end()));
    for (std::size_t k = 0; k < u.values.size(); ++k) {
      const auto first = std::find(x.begin(), x.end(), u.values[k]) - x.begin() + 1;
      ASSERT_EQ(u.positions[k], first);
    }
  }
}

TEST(Union, KnownAnswersSkipRepeatsOnBothSides) {
  auto a = row_record(std::vector<int32_t>{1, 1, 3});
  auto b = row_record(std::vector<int32_t>{2, 3, 3});
  auto c = zyn::make_record<emxArray_int32_T>(2);
  m_union(a.get(), b.get(), c.get());
  EXPECT_EQ(c->size[0], 1);
  EXPECT_EQ(contents(c.get()), (std::vector<int32_t>{1, 2, 3}));
  EXPECT_EQ(zyn::union_sorted(std::vector<int32_t>{}, std::vector<int32_t>{4, 4, 9}),
            (std::vector<int32_t>{4, 9}));
  EXPECT_EQ(zyn::union_sorted(std::vector<int32_t>{5, 5, 7, 7}, std::vector<int32_t>{}),
            (std::vector<int32_t>{5, 7}));
}

TEST(Union, RandomRowsMatchStdSet) {
  std::mt19937 rng(3);
  for (int trial = 0; trial < 500; ++trial) {
    const auto a = random_sorted_ints(rng, 15);
    const auto b = random_sorted_ints(rng, 15);
    std::set<int32_t> expected(a.begin(), a.end());
    expected.insert(b.begin(), b.end());
    ASSERT_EQ(zyn::union_sorted(a, b), std::vector<int32_t>(expected.begin(), expected.end()));
  }
}

TEST(IsMember, KnownAnswersAndShapeOfTheQuery) {
  auto a = row_record(std::vector<int32_t>{5, 1, 9, 4, 1});
  auto s = row_record(std::vector<int32_t>{1, 4, 4, 7, 9});
  auto tf = zyn::make_record<emxArray_boolean_T>(2);
  m_ismember(a.get(), s.get(), tf.get());
  EXPECT_EQ(tf->size[0], 1);
  EXPECT_EQ(contents(tf.get()), (std::vector<unsigned char>{0, 1, 1, 1, 1}));

  auto none = row_record(std::vector<int32_t>{});
  m_ismember(a.get(), none.get(), tf.get());
  EXPECT_EQ(contents(tf.get()), (std::vector<unsigned char>(5, 0)));

  // Extremes of the 32-bit range exercise the overflow-free midpoint.
  const std::vector<int32_t> wide{std::numeric_limits<int32_t>::min(), -1, 0,
                                  std::numeric_limits<int32_t>::max()};
  EXPECT_EQ(zyn::is_member(wide, wide), (std::vector<unsigned char>(4, 1)));
}

TEST(IsMember, RandomQueriesMatchStdSet) {
  std::mt19937 rng(5);
  for (int trial = 0; trial < 500; ++trial) {
    const auto s = random_sorted_ints(rng, 20);
    const auto a = random_sorted_ints(rng, 25);
    const std::set<int32_t> set(s.begin(), s.end());
    const auto found = zyn::is_member(a, s);
    ASSERT_EQ(found.size(), a.size());
    for (std::size_t i = 0; i < a.size(); ++i) ASSERT_EQ(found[i] != 0, set.count(a[i]) == 1);
  }
}

TEST(SetDiff, KnownAnswersWithRepeatsInfinitiesAndNaN) {
  auto a = row_record(std::vector<double>{1, 2, 3});
  auto b = row_record(std::vector<double>{2});
  auto c = zyn::make_record<emxArray_real_T>(2);
  m_setdiff(a.get(), b.get(), c.get());
  EXPECT_EQ(c->size[0], 1);
  EXPECT_EQ(contents(c.get()), (std::vector<double>{1, 3}));

  const std::vector<double> none;
  EXPECT_EQ(zyn::set_difference(std::vector<double>{1, 1, 4, 4, 4, 6}, none),
            (std::vector<double>{1, 4, 6}));
  EXPECT_TRUE(same_bits(zyn::set_difference(std::vector<double>{-kInf, 0, kInf, kInf, kNaN, kNaN},
                                            std::vector<double>{-kInf, kInf, kNaN}),
                        {0, kNaN, kNaN}));
  EXPECT_TRUE(zyn::set_difference(none, std::vector<double>{1, 2}).empty());
}

TEST(SetDiff, RandomRowsMatchStdSet) {
  std::mt19937 rng(9);
  for (int trial = 0; trial < 500; ++trial) {
    const auto ai = random_sorted_ints(rng, 12);
    const auto bi = random_sorted_ints(rng, 12);
    const std::vector<double> a(ai.begin(), ai.end());
    const std::vector<double> b(bi.begin(), bi.end());
    std::set<double> expected(a.begin(), a.end());
    for (double v : b) expected.erase(v);
    ASSERT_EQ(zyn::set_difference(a, b), std::vector<double>(expected.begin(), expected.end()));
  }
}

TEST(SetsRejection, NullRecordsAreHarmless) {
  auto c = zyn::make_record<emxArray_real_T>(2);
  m_unique(nullptr, c.get());
  EXPECT_EQ(zyn::element_count(c.get()), 0);
  m_b_unique(nullptr, nullptr, nullptr);
  m_union(nullptr, nullptr, nullptr);
  m_ismember(nullptr, nullptr, nullptr);
  m_setdiff(nullptr, nullptr, c.get());
  EXPECT_EQ(zyn::element_count(c.get()), 0);
}

}  // namespace
