// Coarse band-pass detector: the filter against its difference equation, and
// the peak-picking rules (threshold, ties, refractory skip, ends, rounding).
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "beats/primitive_rpeaks.hpp"
#include "common/records.hpp"
#include "runtime/emx.hpp"
#include "zynecgsolver/beats.h"
#include "zynecgsolver/emxarray.h"

using namespace zyn::beats;
using namespace zyn::testing;

TEST(BandPass, MatchesItsDifferenceEquationFromRestAndStartsFromTheGivenState) {
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
  // The C adapter on silence from the state z: y1 = z1, y2 = z2 - a1 y1; an empty input only resizes.
  const double zi[4] = {1.0, 2.0, 3.0, 4.0};
  auto in = column_of({0.0, 0.0, 0.0}), out = empty_output();
  m_filter(in.get(), zi, out.get());
  ASSERT_EQ(shape(out), (std::vector<int32_t>{3, 1}));
  EXPECT_DOUBLE_EQ(out->data[0], 1.0);
  EXPECT_DOUBLE_EQ(out->data[1], 2.0 - a[1]);
  m_filter(column_of({}).get(), zi, out.get());
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

// The picking by its definition: every candidate is compared with the other
// candidates of its window, one by one, and skipped ones are the candidates up
// to w samples after an accepted peak.
std::vector<double> peaks_by_definition(const std::vector<double>& f, double fs) {
  double largest = f[0];
  for (double v : f) largest = largest > v ? largest : v;
  std::vector<int64_t> idx;
  for (std::size_t i = 0; i < f.size(); ++i) {
    if (f[i] > 0.3 * largest) idx.push_back(static_cast<int64_t>(i) + 1);
  }
  std::vector<double> peaks(idx.size(), 0.0);
  const auto w = static_cast<int64_t>(std::round(0.2 * fs));
  const auto n = static_cast<int64_t>(f.size());
  std::size_t count = 0;
  int64_t skipUpTo = 0;
  for (std::size_t k = 0; k < idx.size() && count < idx.size(); ++k) {
    const int64_t here = idx[k];
    if (count > 0 && k > 0 && here <= skipUpTo) continue;
    bool strict = here != 1 && here != n;
    for (int64_t other : idx) {
      if (other != here && other >= here - w && other <= std::min(here + w, idx.back()) &&
          !(f[static_cast<std::size_t>(other - 1)] < f[static_cast<std::size_t>(here - 1)])) {
        strict = false;
      }
    }
    if (strict) {
      peaks[count++] = static_cast<double>(here);
      skipUpTo = std::min(here + w, idx.back() - 1);
    }
  }
  if (count > 0) peaks.resize(count);
  return peaks;
}

TEST(CoarsePeakPicking, AgreesWithTheCandidateByCandidateDefinition) {
  std::mt19937 rng(11);
  std::uniform_int_distribution<int> level(0, 9);
  for (int trial = 0; trial < 300; ++trial) {
    // Few distinct levels make ties common; some signals carry NaN or -0.
    std::vector<double> f(static_cast<std::size_t>(20 + trial));
    for (double& v : f) v = level(rng) < 7 ? 0.0 : static_cast<double>(level(rng));
    if (trial % 3 == 1) f[f.size() / 2] = std::nan("");
    if (trial % 5 == 2) f[f.size() / 3] = -0.0;
    if (trial % 7 == 3) f[0] = std::nan("");  // a leading NaN passes on through the maximum
    const double fs = 10.0 + trial % 40;
    SCOPED_TRACE(trial);
    ASSERT_EQ(pick_coarse_peaks(f, fs), peaks_by_definition(f, fs));
  }
}
