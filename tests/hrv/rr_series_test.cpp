// Labelled RR series and the NN series derived from it, alone and inside the
// toCompile entry unit, which composes wave detection with the rhythm stage
// of the caller's beats.
#include <gtest/gtest.h>

#include <cmath>

#include "common/records.hpp"
#include "hrv/rr_series.hpp"
#include "zynecgsolver/beats.h"
#include "zynecgsolver/hrv.h"

namespace {
using namespace zyn::testing;
using V = std::vector<double>;
using Flags = std::vector<int16_t>;
using Ints = zyn::RecordPtr<emxArray_int32_T>;
constexpr int16_t N = 78;
constexpr int16_t X = 86;

zyn::LabelledRRSeries series(const std::vector<int32_t>& normal, const std::vector<int32_t>& extra) {
  return zyn::labelled_rr_series(normal, extra, 200);
}
Ints int_output() { return zyn::make_record<emxArray_int32_T>(2); }

TEST(LabelledRRSeries, WorkedExampleThroughTheRecordsAndTheEntryUnit) {
  auto normal = record(std::vector<int32_t>{100, 300, 500, 800, 900, 1100});
  auto extra = record(std::vector<int32_t>{650});
  auto flags = zyn::make_record<emxArray_int16_T>(2);
  zyn::resize(flags.get(), {3, 1});  // any initial size is resized
  RealRecord out[4] = {empty_output(), empty_output(), empty_output(), empty_output()};
  zyn::resize(out[2].get(), {9, 1});
  m_calcRRextra(normal.get(), extra.get(), 200, flags.get(), out[0].get(), out[1].get(), out[2].get(), out[3].get());
  EXPECT_EQ(contents(flags), (Flags{N, N, X, N, N, N}));
  const V expected[4] = {{0.0, 1.0, 1.875, 2.625, 3.25, 4.0}, {1.0, 1.0, 0.75, 0.75, 0.5, 1.0}, {1.0, 3.25}, {1.0, 0.5}};
  for (int k = 0; k < 4; ++k) EXPECT_EQ(contents(out[k]), expected[k]) << k;

  // toCompile: each part exactly as the separate routines compute it.
  std::vector<double> samples(2400);  // 12 s at 200 Hz, a sharp beat every 0.8 s
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double phase = std::fmod(static_cast<double>(i) / 200.0, 0.8) - 0.4;
    samples[i] = std::exp(-phase * phase / 2e-4);
  }
  auto ecg = column_of(samples);
  Ints found[3] = {int_output(), int_output(), int_output()}, waves[3] = {int_output(), int_output(), int_output()};
  auto unitFlags = zyn::make_record<emxArray_int16_T>(2);
  RealRecord t = empty_output(), rr = empty_output();
  int32_T quality = -1, shortRr = -1, expectedQuality = -2, expectedShortRr = -2;
  double hr = 0.0;
  toCompile_initialize();
  toCompile(ecg.get(), 200, 4, normal.get(), 6, extra.get(), 1, 200, found[0].get(), found[1].get(), &quality,
            found[2].get(), &hr, unitFlags.get(), t.get(), rr.get(), &shortRr, 4.0);
  toCompile_terminate();
  m_detectWaves(ecg.get(), 200, 4, waves[0].get(), waves[1].get(), waves[2].get(), &expectedQuality,
                &expectedShortRr, 4.0);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(contents(found[k]), contents(waves[k])) << k;
  EXPECT_EQ(std::pair(quality, shortRr), std::pair(expectedQuality, expectedShortRr));
  EXPECT_EQ(hr, m_calcHRsys(normal.get(), 6, extra.get(), 1, 200));
  EXPECT_EQ(contents(unitFlags), (Flags{N, N, X, N, N, N}));
  EXPECT_EQ(contents(t), expected[0]);
  EXPECT_EQ(contents(rr), expected[1]);
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
