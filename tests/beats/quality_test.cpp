// Signal quality: saturation before rhythm, the strict bounds, and the window
// splitting rules (4-second rule, unrated remainder, one-beat windows).
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "beats/signal_quality.hpp"
#include "common/records.hpp"
#include "runtime/emx.hpp"
#include "zynecgsolver/beats.h"

using namespace zyn::beats;
using namespace zyn::testing;

namespace {
using B = std::vector<int32_t>;
std::vector<int32_t> every(int32_t first, int32_t step, int32_t last) {
  std::vector<int32_t> b;
  for (int32_t p = first; p <= last; p += step) b.push_back(p);
  return b;
}
}  // namespace

TEST(StretchQuality, SaturationIsStrictlyAboveNinetySevenPercentAndComesFirst) {
  std::vector<double> x(1000, 0.0);
  const std::vector<int32_t> irregular = {100, 150, 600, 620};
  x[10] = -0.97 * 5.0;
  EXPECT_EQ(stretch_quality(x, every(1, 200, 999), 5.0, 5.0), 1);
  x[10] = std::nextafter(-0.97 * 5.0, -10.0);
  EXPECT_EQ(stretch_quality(x, irregular, 5.0, 4.0), 2);
  x[10] = std::numeric_limits<double>::quiet_NaN();  // a NaN never raises the maximum
  EXPECT_EQ(stretch_quality(x, every(1, 200, 999), 5.0, 5.0), 1);
}

TEST(StretchQuality, IrregularWhenRrSpreadExceedsAQuarterOfTheMean) {
  const std::vector<double> x(5000, 0.0);
  EXPECT_EQ(stretch_quality(x, every(1, 200, 4000), 5.0, 21.0), 1);
  // Regular beats 200 apart with one interval of 400: sd 44.7 < 0.25 * 210.
  std::vector<int32_t> oneLong = every(1, 200, 4000);
  oneLong.erase(oneLong.begin() + 10);
  EXPECT_EQ(stretch_quality(x, oneLong, 5.0, 20.0), 1);
  // sd 83 > 0.25 * 233: irregular.
  EXPECT_EQ(stretch_quality(x, B{1, 201, 401, 1101}, 5.0, 4.0), 3);
  // Two beats, one beat, none: always good.
  EXPECT_EQ(stretch_quality(x, B{1, 3000}, 5.0, 2.0), 1);
  EXPECT_EQ(stretch_quality(x, B{1}, 5.0, 1.0), 1);
  EXPECT_EQ(stretch_quality(x, B{}, 5.0, 0.0), 1);
  // Only beatCount beats are used, never more than exist.
  EXPECT_EQ(stretch_quality(x, B{1, 201, 401, 1101}, 5.0, 3.0), 1);
  EXPECT_EQ(stretch_quality(x, B{1, 201}, 5.0, 50.0), 1);
  // Differences that overflow 32 bits saturate instead of wrapping.
  EXPECT_EQ(stretch_quality(x, B{INT32_MIN, INT32_MAX, INT32_MIN}, 5.0, 3.0), 3);
}

TEST(WindowQuality, WholeWindowsOnlyAndTheirOwnCodes) {
  // 35 s, 10 s windows: samples 1-2000, 2001-4000, 4001-6000; 6001-7000 unrated.
  std::vector<double> x(7000, 0.0);
  std::vector<int32_t> beats = every(100, 200, 1900);  // window 1: regular
  beats.push_back(2500);                               // window 2: one beat
  for (int32_t p : {4100, 4300, 4400, 5900}) beats.push_back(p);  // window 3: irregular
  for (int32_t p : every(6100, 100, 6900)) beats.push_back(p);     // remainder
  x[2600] = 100.0;  // saturation in the one-beat window is never looked at
  x[6500] = 100.0;  // nor in the remainder
  EXPECT_EQ(window_quality(x, 200, beats, 10, 5.0), (std::vector<int32_t>{0, 3, 6}));
  // A list out of order is taken as it stands: reversed, window 1's RR
  // intervals are all -200 samples, whose mean is below a quarter of no spread.
  std::vector<int32_t> reversed = beats;
  std::reverse(reversed.begin(), reversed.begin() + 10);
  EXPECT_EQ(window_quality(x, 200, reversed, 10, 5.0), (std::vector<int32_t>{6, 3, 6}));
  x[150] = 5.0;  // saturation in window 1
  EXPECT_EQ(window_quality(x, 200, beats, 10, 5.0), (std::vector<int32_t>{5, 3, 6}));
  // The C adapters fill a column.
  auto ecg = column_of(x);
  auto b = record(beats), codes = zyn::make_record<emxArray_int32_T>(2);
  m_checkWindowQuality(ecg.get(), 200, b.get(), 10, codes.get(), 5.0);
  EXPECT_EQ(codes->size[1], 1);
  EXPECT_EQ(contents(codes), (std::vector<int32_t>{5, 3, 6}));
  EXPECT_EQ(m_checkQualityVar(ecg.get(), b.get(), 5.0, static_cast<double>(beats.size())), 2);
}

TEST(WindowQuality, WindowCountsAndNoBeatsCodedThree) {
  const std::vector<double> x(60 * 200, 0.0);
  const auto beats = every(100, 200, 11900);
  EXPECT_EQ(window_quality(x, 200, beats, 4, 5.0), (std::vector<int32_t>{0}));   // 4 s or less: one
  EXPECT_EQ(window_quality(x, 200, beats, 61, 5.0), (std::vector<int32_t>{0}));  // longer than the record
  EXPECT_EQ(window_quality(x, 200, beats, 5, 5.0).size(), 12u);
  EXPECT_EQ(window_quality(x, 200, {}, 30, 5.0), (std::vector<int32_t>{3, 3}));
  EXPECT_EQ(window_quality({}, 200, {}, 10, 5.0), (std::vector<int32_t>{3}));
  EXPECT_EQ(window_quality(x, 0, {}, 10, 5.0), (std::vector<int32_t>{3}));
  EXPECT_EQ(window_quality(x, -200, beats, 5, 5.0).size(), 1u);
}
