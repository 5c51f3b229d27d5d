// Find family, integer ranges and the stable NaN-last sort.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "runtime/emx.hpp"
#include "toolbox/search_sort.hpp"
#include "zynecgsolver/toolbox_search.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

template <class T>
zyn::RecordPtr<typename zyn::RecordFor<T>::type> column_record(const std::vector<T>& v) {
  auto r = zyn::make_record<typename zyn::RecordFor<T>::type>(2);
  zyn::assign_column(r.get(), v);
  return r;
}
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
template <class Record>
std::vector<int32_t> shape(const Record* r) {
  return {r->size[0], r->size[1]};
}

using Mask = std::vector<unsigned char>;

// The sort as a literal bottom-up merge: ordered pairs, then runs of 2, 4, ...
std::vector<int32_t> bottom_up_merge_permutation(const std::vector<double>& x) {
  const std::size_t n = x.size();
  const auto le = [&x](int32_t a, int32_t b) {
    const double xa = x[static_cast<std::size_t>(a - 1)];
    const double xb = x[static_cast<std::size_t>(b - 1)];
    return xa <= xb || std::isnan(xb);
  };
  std::vector<int32_t> idx(n);
  for (std::size_t k = 0; k + 1 < n; k += 2) {
    const auto p = static_cast<int32_t>(k + 1);
    const bool inOrder = le(p, p + 1);
    idx[k] = inOrder ? p : p + 1;
    idx[k + 1] = inOrder ? p + 1 : p;
  }
  if (n % 2 == 1) idx[n - 1] = static_cast<int32_t>(n);
  std::vector<int32_t> merged(n);
  for (std::size_t width = 2; width < n; width *= 2) {
    for (std::size_t lo = 0; lo < n; lo += 2 * width) {
      const std::size_t mid = std::min(lo + width, n);
      const std::size_t hi = std::min(lo + 2 * width, n);
      std::size_t p = lo, q = mid, o = lo;
      while (p < mid && q < hi) merged[o++] = le(idx[p], idx[q]) ? idx[p++] : idx[q++];
      while (p < mid) merged[o++] = idx[p++];
      while (q < hi) merged[o++] = idx[q++];
    }
    idx = merged;
  }
  return idx;
}

TEST(FindFamily, AllFalseMasksGiveEmptyResultsNotZero) {
  const Mask none(7, 0);
  auto col = column_record(none);
  auto row = row_record(none);
  auto out = zyn::make_record<emxArray_real_T>(2);
  for (auto* find : {m_find, m_e_find, m_f_find}) {
    find(col.get(), out.get());
    EXPECT_EQ(shape(out.get()), (std::vector<int32_t>{0, 1}));
  }
  m_b_find(row.get(), out.get());
  EXPECT_EQ(shape(out.get()), (std::vector<int32_t>{1, 0}));
  auto ints = zyn::make_record<emxArray_int32_T>(2);
  m_eml_li_find(row.get(), ints.get());
  EXPECT_EQ(shape(ints.get()), (std::vector<int32_t>{1, 0}));
  m_b_eml_li_find(col.get(), ints.get());
  EXPECT_EQ(shape(ints.get()), (std::vector<int32_t>{0, 1}));

  const boolean_T fixed[19] = {};
  real_T data[19] = {};
  int32_T size[1] = {-1};
  m_c_find(fixed, data, size);
  EXPECT_EQ(size[0], 0);
  m_d_find(fixed, data, size);
  EXPECT_EQ(size[0], 0);
}

TEST(FindFamily, PositionsAreOneBasedAndFollowOrientation) {
  const Mask mask{0, 1, 1, 0, 0, 1, 0};
  auto col = column_record(mask);
  auto row = row_record(mask);
  auto out = zyn::make_record<emxArray_real_T>(2);
  m_find(col.get(), out.get());
  EXPECT_EQ(shape(out.get()), (std::vector<int32_t>{3, 1}));
  EXPECT_EQ(contents(out.get()), (std::vector<double>{2, 3, 6}));
  m_b_find(row.get(), out.get());
  EXPECT_EQ(shape(out.get()), (std::vector<int32_t>{1, 3}));
  m_e_find(col.get(), out.get());
  EXPECT_EQ(contents(out.get()), (std::vector<double>{2}));
  m_f_find(col.get(), out.get());
  EXPECT_EQ(contents(out.get()), (std::vector<double>{6}));

  auto ints = zyn::make_record<emxArray_int32_T>(2);
  m_eml_li_find(row.get(), ints.get());
  EXPECT_EQ(shape(ints.get()), (std::vector<int32_t>{1, 3}));
  EXPECT_EQ(contents(ints.get()), (std::vector<int32_t>{2, 3, 6}));
  m_b_eml_li_find(col.get(), ints.get());
  EXPECT_EQ(shape(ints.get()), (std::vector<int32_t>{3, 1}));

  boolean_T fixed[15] = {};
  fixed[0] = fixed[14] = 1;
  real_T data[15] = {};
  int32_T size[1] = {};
  m_c_find(fixed, data, size);
  ASSERT_EQ(size[0], 2);
  EXPECT_EQ(data[0], 1.0);
  EXPECT_EQ(data[1], 15.0);
}

TEST(FindFamily, RowFormReadsOnlyTheSecondExtent) {
  // A column passed to a row routine walks one element, never past it.
  auto col = column_record(Mask{0, 1, 1});
  auto out = zyn::make_record<emxArray_real_T>(2);
  m_b_find(col.get(), out.get());
  EXPECT_EQ(shape(out.get()), (std::vector<int32_t>{1, 0}));
}

TEST(IntegerColon, CountsFromOneAndIsEmptyBelowOne) {
  auto out = zyn::make_record<emxArray_int32_T>(2);
  m_eml_integer_colon(4, out.get());
  EXPECT_EQ(shape(out.get()), (std::vector<int32_t>{1, 4}));
  EXPECT_EQ(contents(out.get()), (std::vector<int32_t>{1, 2, 3, 4}));
  for (int32_T n : {0, -5, std::numeric_limits<int32_T>::min()}) {
    m_eml_integer_colon(n, out.get());
    EXPECT_EQ(shape(out.get()), (std::vector<int32_t>{1, 0}));
  }
}

TEST(SortIndex, TiesKeepInputOrderAndNaNGoesLast) {
  const std::vector<double> x{3, kNaN, 1, 3};
  auto col = column_record(x);
  auto idx = zyn::make_record<emxArray_int32_T>(2);
  m_eml_sort_idx(col.get(), idx.get());
  EXPECT_EQ(shape(idx.get()), (std::vector<int32_t>{4, 1}));
  EXPECT_EQ(contents(idx.get()), (std::vector<int32_t>{3, 1, 4, 2}));
  auto row = row_record(x);
  m_b_eml_sort_idx(row.get(), idx.get());
  EXPECT_EQ(shape(idx.get()), (std::vector<int32_t>{1, 4}));
  EXPECT_EQ(contents(idx.get()), (std::vector<int32_t>{3, 1, 4, 2}));

  EXPECT_EQ(zyn::sort_permutation(std::vector<double>{kNaN, -kInf, kNaN, kInf, -0.0, 0.0}),
            (std::vector<int32_t>{2, 5, 6, 4, 1, 3}));
  EXPECT_TRUE(zyn::sort_permutation({}).empty());
}

TEST(SortIndex, MatchesLiteralBottomUpMergeOnRandomInputWithTiesAndNaN) {
  std::mt19937 rng(20261123);
  const std::vector<double> pool{kNaN, -kInf, kInf, -1.5, 0.0, -0.0, 2.0, 7.25};
  for (int trial = 0; trial < 400; ++trial) {
    const std::size_t n = std::uniform_int_distribution<std::size_t>(0, 150)(rng);
    std::vector<double> x(n);
    for (double& v : x) v = pool[std::uniform_int_distribution<std::size_t>(0, pool.size() - 1)(rng)];
    ASSERT_EQ(zyn::sort_permutation(x), bottom_up_merge_permutation(x)) << "trial " << trial;
  }
}

TEST(SortInPlace, RealColumnSortsNaNLastAndIntegersAscending) {
  auto x = column_record(std::vector<double>{2, kNaN, -1, 2, 0.5});
  m_refp1_sort(x.get());
  const auto sorted = contents(x.get());
  EXPECT_EQ(std::vector<double>(sorted.begin(), sorted.end() - 1), (std::vector<double>{-1, 0.5, 2, 2}));
  EXPECT_TRUE(std::isnan(sorted.back()));

  auto ints = column_record(std::vector<int32_t>{5, -3, 5, std::numeric_limits<int32_t>::min(), 0});
  m_b_refp1_sort(ints.get());
  EXPECT_EQ(contents(ints.get()),
            (std::vector<int32_t>{std::numeric_limits<int32_t>::min(), -3, 0, 5, 5}));
}

TEST(SearchSortRejection, NullAndInconsistentRecordsAreHarmless) {
  auto out = zyn::make_record<emxArray_real_T>(2);
  m_find(nullptr, out.get());
  EXPECT_EQ(zyn::element_count(out.get()), 0);
  m_find(nullptr, nullptr);
  m_eml_sort_idx(nullptr, nullptr);
  m_refp1_sort(nullptr);
  m_c_find(nullptr, nullptr, nullptr);

  // Extents claiming more elements than the storage holds: reads stay inside it.
  double storage[3] = {3, 1, 2};
  emxArray_real_T* liar = emxCreateWrapper_real_T(storage, 3, 1);
  liar->size[0] = 1000;
  auto idx = zyn::make_record<emxArray_int32_T>(2);
  m_eml_sort_idx(liar, idx.get());
  EXPECT_EQ(contents(idx.get()), (std::vector<int32_t>{2, 3, 1}));
  emxDestroyArray_real_T(liar);
}

}  // namespace
