// Find family, integer ranges and the stable NaN-last sort.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>

#include "common/every_variant.hpp"
#include "common/records.hpp"
#include "toolbox/search_sort.hpp"
#include "zynecgsolver/toolbox_search.h"

namespace {

using namespace zyn::testing;
using Ints = std::vector<int32_t>;

bool same_bits(double a, double b) { return std::bit_cast<uint64_t>(a) == std::bit_cast<uint64_t>(b); }

// 1-based positions of x in a stable sort with NaN last: a stable sort's
// permutation is unique, whatever the algorithm behind it.
Ints stable_sort_permutation(const std::vector<double>& x) {
  Ints idx(x.size());
  std::iota(idx.begin(), idx.end(), 1);
  std::stable_sort(idx.begin(), idx.end(), [&x](int32_t a, int32_t b) {
    const double u = x[std::size_t(a - 1)], v = x[std::size_t(b - 1)];
    return u < v || (std::isnan(v) && !std::isnan(u));
  });
  return idx;
}

TEST(FindFamily, OneBasedPositionsFollowOrientationAndAllFalseMasksGiveEmptyResults) {
  const std::vector<unsigned char> mask{0, 1, 1, 0, 0, 1, 0}, none(7, 0);
  auto out = zyn::make_record<emxArray_real_T>(2);
  const std::pair<void (*)(const emxArray_boolean_T*, emxArray_real_T*), std::vector<double>> finds[] = {
      {m_find, {2, 3, 6}}, {m_e_find, {2}}, {m_f_find, {6}}, {m_b_find, {}}};  // m_b_find: row walk
  for (const auto& [find, positions] : finds) {
    find(record(mask, false).get(), out.get());
    EXPECT_EQ(contents(out), positions);
  }
  m_find(record(none, false).get(), out.get());
  EXPECT_EQ(shape(out), (Ints{0, 1}));
  m_b_find(record(none, true).get(), out.get());
  EXPECT_EQ(shape(out), (Ints{1, 0}));
  auto ints = zyn::make_record<emxArray_int32_T>(2);
  m_b_eml_li_find(record(mask, false).get(), ints.get());
  EXPECT_EQ(shape(ints), (Ints{3, 1}));
  m_eml_li_find(record(mask, true).get(), ints.get());
  EXPECT_EQ(shape(ints), (Ints{1, 3}));
  boolean_T fixed[15] = {};  // the fixed-size finds share one walk
  real_T data[15];
  int32_T size[1] = {-1};
  m_c_find(fixed, data, size);
  EXPECT_EQ(size[0], 0);
  fixed[0] = fixed[14] = 1;
  m_c_find(fixed, data, size);
  ASSERT_EQ(size[0], 2);
  EXPECT_EQ(data[1], 15.0);
}

// Lengths around whole vectors of lanes, samples equal to the bounds,
// infinite and NaN samples and bounds, on every processor variant: counts,
// kept values and positions are those of a plain scan.
ZYN_TEST_ON_EVERY_VARIANT(IntervalKernels);
TEST_P(IntervalKernels, CountsValuesAndPositionsAreThoseOfAPlainScan) {
  std::mt19937_64 rng(11);
  const double levels[] = {kNaN, -kInf, kInf, -2.0, -1.0, 0.0, 1.0, 2.0, 3.0};
  std::uniform_int_distribution<std::size_t> pick(0, std::size(levels) - 1);
  for (std::size_t n : {0u, 1u, 7u, 8u, 9u, 63u, 1000u, 4099u}) {
    std::vector<double> x(n);
    for (double& v : x) v = levels[pick(rng)];
    for (double threshold : {-kInf, -4.0, 0.0, 1.0, 2.5, kInf, kNaN}) {
      std::vector<int64_t> expected;
      for (std::size_t k = 0; k < n; ++k) {
        if (x[k] > threshold) expected.push_back(static_cast<int64_t>(k) + 1);
      }
      EXPECT_EQ(zyn::positions_above(x, threshold), expected) << "n " << n << " threshold " << threshold;
      const double high = threshold + 2.0;
      std::size_t below = 0;
      std::vector<double> inside;
      for (double v : x) {
        below += v < threshold;
        if (v >= threshold && v <= high) inside.push_back(v);
      }
      const zyn::IntervalCounts counts = zyn::count_within(x, threshold, high);
      EXPECT_EQ(counts.below, below);
      ASSERT_EQ(counts.inside, inside.size());
      const std::vector<double> kept = zyn::elements_within(x, threshold, high, counts.inside);
      EXPECT_TRUE(std::equal(kept.begin(), kept.end(), inside.begin(), inside.end(), same_bits));
      const zyn::IntervalCounts reversed = zyn::count_within(x, high, threshold);  // low above high
      EXPECT_EQ(reversed.below, static_cast<std::size_t>(std::count_if(x.begin(), x.end(), [&](double v) { return v < high; })));
      EXPECT_EQ(reversed.inside, static_cast<std::size_t>(std::count_if(x.begin(), x.end(), [&](double v) {
                  return v >= high && v <= threshold;
                })));
    }
  }
}

TEST(IntegerColon, CountsFromOneAndIsEmptyBelowOne) {
  auto out = zyn::make_record<emxArray_int32_T>(2);
  m_eml_integer_colon(4, out.get());
  EXPECT_EQ(contents(out), (Ints{1, 2, 3, 4}));
  m_eml_integer_colon(std::numeric_limits<int32_T>::min(), out.get());
  EXPECT_EQ(shape(out), (Ints{1, 0}));
}

TEST(Sort, TiesKeepInputOrderAndNaNGoesLast) {
  auto idx = zyn::make_record<emxArray_int32_T>(2);
  m_eml_sort_idx(record(std::vector<double>{3, kNaN, 1, 3}, false).get(), idx.get());
  EXPECT_EQ(contents(idx), (Ints{3, 1, 4, 2}));
  EXPECT_EQ(shape(idx), (Ints{4, 1}));
  m_b_eml_sort_idx(record(std::vector<double>{kNaN, -kInf, kNaN, kInf, -0.0, 0.0}, true).get(),
                   idx.get());
  EXPECT_EQ(contents(idx), (Ints{2, 5, 6, 4, 1, 3}));

  auto x = record(std::vector<double>{2, kNaN, -1, 0.5}, false);
  m_refp1_sort(x.get());
  EXPECT_EQ(x->data[2], 2.0);
  EXPECT_TRUE(std::isnan(x->data[3]));
  auto ints = record(Ints{5, -3, 5, std::numeric_limits<int32_t>::min()}, false);
  m_b_refp1_sort(ints.get());
  EXPECT_EQ(contents(ints), (Ints{std::numeric_limits<int32_t>::min(), -3, 5, 5}));
}

// Short inputs and long ones (sorted by digits), with ties, signed zeros,
// infinities, NaN of both signs, subnormals and values that differ in one
// low bit only; every fifth input is put in order first, and then one pair
// may be swapped back, so that inputs in order (kept as they are) and inputs
// just out of it are both met.
TEST(Sort, IsTheStablePermutationOnRandomInputWithTiesAndNaN) {
  std::mt19937 rng(20261123);
  const std::vector<double> pool{kNaN,  -kNaN, -kInf, kInf,   -1.5, 0.0, -0.0, 2.0, 7.25, 4.9e-324,
                                 -4.9e-324, 1.0, std::nextafter(1.0, 2.0), -1e300};
  std::normal_distribution<double> normal(0.0, 1e3);
  for (int trial = 0; trial < 400; ++trial) {
    const std::size_t most = trial % 4 == 0 ? 3000 : 150;
    std::vector<double> x(std::uniform_int_distribution<std::size_t>(0, most)(rng));
    for (double& v : x) {
      const std::size_t pick = std::uniform_int_distribution<std::size_t>(0, pool.size())(rng);
      v = pick < pool.size() ? pool[pick] : normal(rng);
    }
    if (trial % 5 == 0) {
      std::stable_sort(x.begin(), x.end(), [](double a, double b) { return a < b || (std::isnan(b) && !std::isnan(a)); });
      if (trial % 10 == 0 && x.size() > 1) std::swap(x[x.size() / 3], x[x.size() / 3 + 1]);
    }
    ASSERT_EQ(zyn::sort_permutation(x), stable_sort_permutation(x)) << "trial " << trial;
  }
}

TEST(SearchRejection, NullAndOverstatedRecordsStayInBounds) {
  auto out = zyn::make_record<emxArray_real_T>(2);
  m_find(nullptr, out.get());
  m_setdiff(nullptr, nullptr, out.get());
  EXPECT_EQ(zyn::element_count(out.get()), 0);
  m_find(nullptr, nullptr);
  m_refp1_sort(nullptr);
  m_c_find(nullptr, nullptr, nullptr);
  m_b_unique(nullptr, nullptr, nullptr);
  m_ismember(nullptr, nullptr, nullptr);
  // Extents claiming more elements than the storage holds: reads stay inside it.
  double storage[3] = {3, 1, 2};
  emxArray_real_T* liar = emxCreateWrapper_real_T(storage, 3, 1);
  liar->size[0] = 1000;
  auto idx = zyn::make_record<emxArray_int32_T>(2);
  m_eml_sort_idx(liar, idx.get());
  EXPECT_EQ(contents(idx), (Ints{2, 3, 1}));
  emxDestroyArray_real_T(liar);
}

}  // namespace
