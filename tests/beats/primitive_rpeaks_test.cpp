// Coarse band-pass detector: the filter against its difference equation, and
// the peak-picking rules (threshold, ties, refractory skip, ends, rounding).
#include <gtest/gtest.h>

#include <array>
#include <random>
#include <vector>

#include "beats/primitive_rpeaks.hpp"
#include "beats/support.hpp"
#include "runtime/emx.hpp"
#include "zynecgsolver/beats.h"
#include "zynecgsolver/emxarray.h"

using zyn::beats::band_pass;
using zyn::beats::pick_coarse_peaks;
using zyn::beats::primitive_rpeaks;

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
  emxArray_real_T* in = emxCreateWrapper_real_T(x.data(), 3, 1);
  emxArray_real_T* out = emxCreate_real_T(0, 0);
  const double zi[4] = {1.0, 2.0, 3.0, 4.0};
  m_filter(in, zi, out);
  ASSERT_EQ(out->size[0], 3);
  EXPECT_DOUBLE_EQ(out->data[0], 1.0);                        // y1 = z1
  EXPECT_DOUBLE_EQ(out->data[1], 2.0 - (-2.673578905120266));  // y2 = z2 - a1 y1
  emxArray_real_T* none = emxCreateWrapper_real_T(x.data(), 0, 1);
  m_filter(none, zi, out);  // an empty input only resizes
  EXPECT_EQ(out->size[0], 0);
  emxDestroyArray_real_T(none);
  emxDestroyArray_real_T(in);
  emxDestroyArray_real_T(out);
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

TEST(CoarseDetector, FindsRegularBeatsAtTheirPeaks) {
  const auto beats = beats_test::regular_beats(4000, 100, 160);
  const std::vector<double> ecg = beats_test::synthetic_ecg(4000, beats, 200.0);
  const std::vector<double> peaks = primitive_rpeaks(ecg, 200.0);
  ASSERT_EQ(peaks.size(), beats.size());
  for (std::size_t i = 0; i < beats.size(); ++i) EXPECT_NEAR(peaks[i], static_cast<double>(beats[i] + 1), 2.0);
}

TEST(CoarsePeakPicking, EndSamplesAreNeverPeaksAndLeaveZeros) {
  EXPECT_EQ(pick_coarse_peaks(std::vector<double>{9, 1, 1, 1, 1}, 10.0), (std::vector<double>{0}));
  EXPECT_EQ(pick_coarse_peaks(std::vector<double>{1, 1, 1, 1, 9}, 10.0), (std::vector<double>{0}));
  // Two candidates, both rejected: a row of two zeros, not an empty row.
  EXPECT_EQ(pick_coarse_peaks(std::vector<double>{9, 0, 0, 0, 0, 0, 0, 0, 9}, 10.0), (std::vector<double>(2, 0.0)));
}

TEST(CoarsePeakPicking, TiesWithinTheWindowAreNotPeaks) {
  // w = round(0.2 * 10) = 2: the equal values 2 samples apart reject each other.
  EXPECT_EQ(pick_coarse_peaks(std::vector<double>{0, 0, 5, 0, 5, 0, 0}, 10.0), (std::vector<double>{0, 0}));
  // 3 samples apart they are outside each other's window: both are peaks.
  EXPECT_EQ(pick_coarse_peaks(std::vector<double>{0, 0, 5, 0, 0, 5, 0, 0}, 10.0), (std::vector<double>{3, 6}));
}

TEST(CoarsePeakPicking, OnlyTheHigherOfTwoCloseWavesAndPeaksMoreThanWApart) {
  // fs 250: w = 50; waves 0.15 s (37 samples) apart.
  std::vector<double> f(400, 0.0);
  f[100] = 4.0;
  f[137] = 6.0;
  f[200] = 5.0;
  EXPECT_EQ(pick_coarse_peaks(f, 250.0), (std::vector<double>{138, 201}));
  // fs 500: w = 100, so the wave 63 samples later is inside 138's window.
  EXPECT_EQ(pick_coarse_peaks(f, 500.0), (std::vector<double>{138}));
}

TEST(CoarsePeakPicking, RefractorySkipStillVisitsLaterCandidates) {
  // A broad supra-threshold hump right after an accepted peak, then a peak.
  std::vector<double> f(60, 0.0);
  f[10] = 10.0;
  for (std::size_t i = 11; i < 14; ++i) f[i] = 9.0 - static_cast<double>(i - 11);
  f[40] = 8.0;
  EXPECT_EQ(pick_coarse_peaks(f, 20.0), (std::vector<double>{11, 41}));  // w = 4
}

TEST(CoarsePeakPicking, HalfSampleWindowRoundsAwayFromZero) {
  // fs 2.5: 0.2 fs = 0.5 -> w = 1, so neighbours compete; at fs 2.4 w = 0.
  EXPECT_EQ(pick_coarse_peaks(std::vector<double>{0, 5, 6, 0, 0}, 2.5), (std::vector<double>{3}));
  EXPECT_EQ(pick_coarse_peaks(std::vector<double>{0, 5, 6, 0, 0}, 2.4), (std::vector<double>{2, 3}));
}
