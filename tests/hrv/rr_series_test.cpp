// Labelled RR series and the NN series derived from it.
#include <gtest/gtest.h>

#include "hrv/rr_series.hpp"
#include "hrv_test_support.hpp"
#include "zynecgsolver/hrv.h"

namespace {
using hrvtest::IntColumn;
using V = std::vector<double>;
constexpr int16_t N = 78;
constexpr int16_t X = 86;

zyn::LabelledRRSeries series(const std::vector<int32_t>& normal, const std::vector<int32_t>& extra) {
  return zyn::labelled_rr_series(normal, extra, 200);
}

TEST(LabelledRRSeries, WorkedExampleThroughTheRecords) {
  IntColumn normal({100, 300, 500, 800, 900, 1100});
  IntColumn extra({650});
  emxArray_int16_T* flags = emxCreate_int16_T(3, 1);  // any initial size is resized
  emxArray_real_T* t = emxCreate_real_T(1, 1);
  emxArray_real_T* rr = emxCreate_real_T(0, 0);
  emxArray_real_T* nnT = emxCreate_real_T(1, 1);
  emxArray_real_T* nnRR = emxCreate_real_T(1, 1);
  m_calcRRextra(normal.get(), extra.get(), 200, flags, t, rr, nnT, nnRR);
  ASSERT_EQ(flags->size[0], 6);
  ASSERT_EQ(flags->size[1], 1);
  EXPECT_EQ(std::vector<int16_t>(flags->data, flags->data + 6),
            (std::vector<int16_t>{N, N, X, N, N, N}));
  EXPECT_EQ(V(rr->data, rr->data + 6), (V{1.0, 1.0, 0.75, 0.75, 0.5, 1.0}));
  EXPECT_EQ(V(t->data, t->data + 6), (V{0.0, 1.0, 1.875, 2.625, 3.25, 4.0}));
  ASSERT_EQ(nnT->size[0], 2);
  EXPECT_EQ(V(nnT->data, nnT->data + 2), (V{1.0, 3.25}));
  EXPECT_EQ(V(nnRR->data, nnRR->data + 2), (V{1.0, 0.5}));
  emxDestroyArray_int16_T(flags);
  emxDestroyArray_real_T(t);
  emxDestroyArray_real_T(rr);
  emxDestroyArray_real_T(nnT);
  emxDestroyArray_real_T(nnRR);
}

TEST(LabelledRRSeries, WithoutExtraSystolesEveryIntervalButTheFirstIsNN) {
  const auto s = series({0, 200, 400, 600, 800}, {});
  EXPECT_EQ(s.flags, (std::vector<int16_t>{N, N, N, N}));
  EXPECT_EQ(s.nnT, (V{1.0, 2.0, 3.0}));
  EXPECT_EQ(s.nnRR, (V{1.0, 1.0, 1.0}));
}

TEST(LabelledRRSeries, ExtraSystoleEndingTheLastIntervalAndConsecutiveOnes) {
  // Last beat an extra systole: flag V on the last interval, no interval after it.
  auto s = series({0, 200, 400, 600, 800, 1000}, {1100});
  EXPECT_EQ(s.flags.back(), X);
  EXPECT_EQ(s.nnRR.size(), 4u - 1u);  // intervals 2..5, minus one cut for the extra systole
  EXPECT_EQ(s.nnT, (V{1.0, 2.0, 3.0}));
  // Two consecutive extra systoles: both intervals V, the one after them excluded too.
  s = series({0, 200, 400, 800, 1000, 1200, 1400, 1600}, {500, 600});
  EXPECT_EQ(s.flags, (std::vector<int16_t>{N, N, X, X, N, N, N, N, N}));
  // Kept: intervals 1, 2, 6, 7, 8, 9 (1-based); interval 1 is dropped, then two are
  // cut from the end for the two extra systoles.
  EXPECT_EQ(s.nnRR, (V{1.0, 1.0, 1.0}));
  EXPECT_EQ(s.nnT, (V{1.0, 4.0, 5.0}));
}

TEST(LabelledRRSeries, PeakInBothListsIsOneNormalBeat) {
  const auto s = series({0, 200, 400, 600}, {400});
  EXPECT_EQ(s.rr, (V{1.0, 1.0, 1.0}));
  EXPECT_EQ(s.flags, (std::vector<int16_t>{N, N, N}));
  EXPECT_EQ(s.nnRR, (V{1.0}));  // two NN after the first, one cut for the listed extra
}

TEST(LabelledRRSeries, FirstIntervalEndingAtAnExtraSystoleIsNotRemovedTwice) {
  // Interval 1 ends at an extra systole (V) and interval 2 starts at it: neither kept.
  const auto s = series({0, 400, 600, 800, 1000}, {200});
  EXPECT_EQ(s.flags[0], X);
  EXPECT_EQ(s.nnT, (V{2.0, 3.0}));  // intervals 3, 4, 5 kept; one cut at the end
}

TEST(LabelledRRSeries, MoreExtraSystolesThanNNIntervalsAndTooFewBeats) {
  auto s = series({0, 200, 400}, {500, 600, 700});
  EXPECT_EQ(s.flags.size(), 5u);
  EXPECT_TRUE(s.nnT.empty());
  EXPECT_TRUE(s.nnRR.empty());
  for (const auto& few : {series({}, {}), series({100}, {}), series({100}, {100}), series({}, {7})}) {
    EXPECT_TRUE(few.flags.empty() && few.t.empty() && few.rr.empty() && few.nnT.empty() &&
                few.nnRR.empty());
  }
}

TEST(LabelledRRSeries, UnsortedInputsGiveTheSortedSeries) {
  EXPECT_EQ(series({800, 0, 400, 200, 600}, {}).rr, series({0, 200, 400, 600, 800}, {}).rr);
  EXPECT_EQ(series({900, 100, 300}, {700, 500}).flags, series({100, 300, 900}, {500, 700}).flags);
}

}  // namespace
