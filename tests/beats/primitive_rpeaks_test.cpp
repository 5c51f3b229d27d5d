// Coarse band-pass detector: the filter against its difference equation, and
// the peak-picking rules (threshold, ties, refractory skip, ends, rounding).
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <vector>

#include "beats/primitive_rpeaks.hpp"
#include "runtime/emx.hpp"
#include "zynecgsolver/beats.h"
#include "zynecgsolver/emxarray.h"

using namespace zyn::beats;

TEST(BandPass, MatchesItsDifferenceEquationFromRest) {
  const std::array<double, 5> b = {0.067455273889072, 0.0, -0.134910547778145, 0.0, 0.067455273889072};
  const std::array<double, 5> a = {1.0, -2.673578905120266, 2.992361804127894, -1.67457731463526,
                                   0.412801598096188};
  std::mt19937 rng(7);
  std::normal_distribution<double> noise(0.0, 1.0);
  std::vector<double> x(500);
  for (double& v : x) v = noise(rng);
  const std::vector<double> y = band_pass(x, {0.0, 0.0, 0.0, 0.0});
  for (std::size_t k = 0; k < x.size(); ++k) {
    double expected = 0.0;
    for (std::size_t i = 0; i <= 4 && i <= k; ++i) expected += b[i] * x[k - i];
    for (std::size_t i = 1; i <= 4 && i <= k; ++i) expected -= a[i] * y[k - i];
    ASSERT_NEAR(y[k], expected, 1e-12) << "sample " << k;
  }
}

TEST(BandPass, CAdapterStartsFromTheGivenStateAndKeepsTheLength) {
  std::vector<double> x = {0.0, 0.0, 0.0};
  auto in = zyn::make_record<emxArray_real_T>(1), out = zyn::make_record<emxArray_real_T>(1);
  zyn::assign_column(in.get(), x);
  const double zi[4] = {1.0, 2.0, 3.0, 4.0};
  m_filter(in.get(), zi, out.get());
  ASSERT_EQ(out->size[0], 3);
  EXPECT_DOUBLE_EQ(out->data[0], 1.0);                        // y1 = z1
  EXPECT_DOUBLE_EQ(out->data[1], 2.0 - (-2.673578905120266));  // y2 = z2 - a1 y1
  zyn::assign_column(in.get(), std::vector<double>{});
  m_filter(in.get(), zi, out.get());  // an empty input only resizes
  EXPECT_EQ(out->size[0], 0);
}

TEST(CoarseDetector, FlatShortOrTooSmallSignalsGiveNoPeak) {
  EXPECT_TRUE(primitive_rpeaks(std::vector<double>(400, 0.0), 200.0).empty());
  EXPECT_TRUE(primitive_rpeaks(std::vector<double>(12, 1.0), 200.0).empty());
  // 13 samples is the shortest signal that can be reflected.
  const std::vector<double> thirteen = {0, 0, 0, 0, 0, 0, 5, 0, 0, 0, 0, 0, 0};
  EXPECT_NO_THROW(primitive_rpeaks(thirteen, 200.0));
  // Filtered values all negative: the threshold lies above every sample.
  EXPECT_TRUE(pick_coarse_peaks(std::vector<double>{-3, -1, -2, -5}, 200.0).empty());
}

// Each case: filtered signal, fs, the accepted peaks (1-based; 0 marks a rejected candidate).
TEST(CoarsePeakPicking, EdgeTiesRefractorySkipAndWindowRounding) {
  std::vector<double> close(400, 0.0), hump(60, 0.0);
  close[100] = 4.0, close[137] = 6.0, close[200] = 5.0;  // waves 37 samples apart
  hump[10] = 10.0, hump[11] = 9.0, hump[12] = 8.0, hump[13] = 7.0, hump[40] = 8.0;
  const struct {
    std::vector<double> f;
    double fs;
    std::vector<double> peaks;
  } cases[] = {
      {{9, 1, 1, 1, 1}, 10.0, {0}},  // end samples are never peaks and leave zeros
      {{1, 1, 1, 1, 9}, 10.0, {0}},
      {{9, 0, 0, 0, 0, 0, 0, 0, 9}, 10.0, {0, 0}},  // two rejected: two zeros, not empty
      {{0, 0, 5, 0, 5, 0, 0}, 10.0, {0, 0}},        // w = 2: equal values 2 apart reject each other
      {{0, 0, 5, 0, 0, 5, 0, 0}, 10.0, {3, 6}},     // 3 apart: both peaks
      {close, 250.0, {138, 201}},                   // w = 50: only the higher of two close waves
      {close, 500.0, {138}},                        // w = 100: the later wave is inside the window
      {hump, 20.0, {11, 41}},                       // the refractory skip still visits later candidates
      {{0, 5, 6, 0, 0}, 2.5, {3}},                  // 0.2 fs = 0.5 rounds away from zero: w = 1
      {{0, 5, 6, 0, 0}, 2.4, {2, 3}},               // w = 0
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fs);
    EXPECT_EQ(pick_coarse_peaks(c.f, c.fs), c.peaks);
  }
}
