// Labelled RR series and the NN series derived from it.
#include <gtest/gtest.h>

#include "hrv/rr_series.hpp"
#include "hrv_test_support.hpp"
#include "zynecgsolver/hrv.h"

namespace {
using V = std::vector<double>;
using Flags = std::vector<int16_t>;
constexpr int16_t N = 78;
constexpr int16_t X = 86;

zyn::LabelledRRSeries series(const std::vector<int32_t>& normal, const std::vector<int32_t>& extra) {
  return zyn::labelled_rr_series(normal, extra, 200);
}

TEST(LabelledRRSeries, WorkedExampleThroughTheRecords) {
  auto normal = hrvtest::int_column({100, 300, 500, 800, 900, 1100});
  auto extra = hrvtest::int_column({650});
  auto flags = zyn::make_record<emxArray_int16_T>(2);
  zyn::resize(flags.get(), {3, 1});  // any initial size is resized
  zyn::RecordPtr<emxArray_real_T> out[4] = {zyn::make_record<emxArray_real_T>(2), zyn::make_record<emxArray_real_T>(2),
                                           zyn::make_record<emxArray_real_T>(2), zyn::make_record<emxArray_real_T>(2)};
  zyn::resize(out[2].get(), {9, 1});
  m_calcRRextra(normal.get(), extra.get(), 200, flags.get(), out[0].get(), out[1].get(), out[2].get(), out[3].get());
  EXPECT_EQ(hrvtest::column_values(flags.get()), (Flags{N, N, X, N, N, N}));
  const V expected[4] = {{0.0, 1.0, 1.875, 2.625, 3.25, 4.0}, {1.0, 1.0, 0.75, 0.75, 0.5, 1.0}, {1.0, 3.25}, {1.0, 0.5}};
  for (int k = 0; k < 4; ++k) EXPECT_EQ(hrvtest::column_values(out[k].get()), expected[k]) << k;
}

TEST(LabelledRRSeries, ExclusionAroundExtraSystolesAndTheTrailingCut) {
  auto s = series({0, 200, 400, 600, 800}, {});  // all normal: all but the first interval
  EXPECT_EQ(s.nnT, (V{1.0, 2.0, 3.0}));
  s = series({0, 200, 400, 600, 800, 1000}, {1100});  // extra systole ends the last interval
  EXPECT_EQ(s.flags.back(), X);
  EXPECT_EQ(s.nnT, (V{1.0, 2.0, 3.0}));
  s = series({0, 200, 400, 800, 1000, 1200, 1400, 1600}, {500, 600});  // two in a row
  EXPECT_EQ(s.flags, (Flags{N, N, X, X, N, N, N, N, N}));
  EXPECT_EQ(s.nnT, (V{1.0, 4.0, 5.0}));  // intervals 2, 6, 7 (of 2, 6, 7, 8, 9) after the cut
  s = series({0, 400, 600, 800, 1000}, {200});  // interval 1 is V: nothing removed at the front
  EXPECT_EQ(s.nnT, (V{2.0, 3.0}));
  s = series({0, 200, 400, 600}, {400});  // listed twice: one normal beat
  EXPECT_EQ(s.flags, (Flags{N, N, N}));
  EXPECT_EQ(s.nnRR, (V{1.0}));
  s = series({0, 200, 400}, {500, 600, 700});  // more extra systoles than NN intervals
  EXPECT_EQ(s.flags.size(), 5u);
  EXPECT_TRUE(s.nnT.empty() && s.nnRR.empty());
  EXPECT_EQ(series({900, 100, 300}, {700, 500}).t, series({100, 300, 900}, {500, 700}).t);
}

TEST(LabelledRRSeries, FewerThanTwoDistinctBeatsGiveEmptyOutputs) {
  for (const auto& s : {series({}, {}), series({100}, {}), series({100}, {100}), series({}, {7})}) {
    EXPECT_TRUE(s.flags.empty() && s.t.empty() && s.rr.empty() && s.nnT.empty() && s.nnRR.empty());
  }
}

}  // namespace
