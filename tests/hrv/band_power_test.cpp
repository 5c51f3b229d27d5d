// Band powers of the spectrum and the frequency-domain HRV record.
#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <random>

#include "hrv/band_power.hpp"
#include "zynecgsolver/hrv.h"

namespace {
using V = std::vector<double>;
using Record = std::array<double, 6>;
constexpr double kTwoPi = 2.0 * std::numbers::pi;
constexpr double kUntouched = -123.0;

TEST(BandPowers, EdgePointsCountInBothBandsAndTotalCountsEverything) {
  const V freq{0.0033, 0.04, 0.1, 0.15, 0.4};
  const V amp{1.0, 2.0, 3.0, 4.0, 5.0};
  V out(6, kUntouched);
  EXPECT_EQ(calcPWR(8, zyn::kHrvBandEdgesHz.data(), freq.data(), amp.data(), 5, out.data()), 4);
  EXPECT_EQ(out[0], 1.0 + 4.0 + 9.0 + 16.0 + 25.0);
  EXPECT_EQ(out[1], 1.0);        // ULF [0, 0.0033]
  EXPECT_EQ(out[2], 1.0 + 4.0);  // VLF [0.0033, 0.04]
  EXPECT_EQ(out[3], 4.0 + 9.0 + 16.0);
  EXPECT_EQ(out[4], 16.0 + 25.0);
  EXPECT_EQ(out[5], out[3] / out[4]);
  // An empty HF band gives an infinite ratio.
  const V low{0.05, 0.06, 0.07};
  EXPECT_EQ(calcPWR(8, zyn::kHrvBandEdgesHz.data(), low.data(), amp.data(), 3, out.data()), 4);
  EXPECT_TRUE(std::isinf(out[5]));
}

TEST(BandPowers, MalformedTablesAndTooFewPointsFailWithoutTouchingTheRecord) {
  const V freq{0.1, 0.2, 0.3, 0.35};
  const V amp{1.0, 1.0, 1.0, 1.0};
  const V edges(22, 0.5);
  V out(12, kUntouched);
  EXPECT_EQ(calcPWR(2, edges.data(), freq.data(), amp.data(), 4, out.data()), -1);
  EXPECT_EQ(calcPWR(7, edges.data(), freq.data(), amp.data(), 4, out.data()), -1);
  EXPECT_EQ(calcPWR(22, edges.data(), freq.data(), amp.data(), 4, out.data()), -1);
  EXPECT_EQ(calcPWR(8, edges.data(), freq.data(), amp.data(), 2, out.data()), -2);
  EXPECT_EQ(calcPWR(8, edges.data(), freq.data(), amp.data(), -1, out.data()), -2);
  EXPECT_EQ(out, V(12, kUntouched));
  EXPECT_EQ(calcPWR(20, edges.data(), freq.data(), amp.data(), 3, out.data()), 10);
}

TEST(BandPowers, LimitZeroesEntriesAboveTheLimitAndCountsTheRest) {
  V freq{0.1, 0.4, 0.41, 0.0, 0.0};
  V amp{1.0, 2.0, 3.0, 0.0, 0.0};
  uint64_t kept = 0;
  limitFreq(freq.data(), amp.data(), freq.size(), &kept, 0.4);
  EXPECT_EQ(kept, 4u);
  EXPECT_EQ(freq, (V{0.1, 0.4, 0.0, 0.0, 0.0}));
  EXPECT_EQ(amp, (V{1.0, 2.0, 0.0, 0.0, 0.0}));
}

struct RRSeries {
  V t;
  V rr;
};

// n beats of mean interval 0.8 s with a sine of frequency f (Hz) and
// amplitude a (s) in the intervals.
RRSeries sine_series(std::size_t n, double f, double a) {
  RRSeries s;
  double time = 0.0;
  for (std::size_t k = 0; k < n; ++k) {
    s.t.push_back(time);
    s.rr.push_back(0.8 + a * std::sin(kTwoPi * f * time));
    time += s.rr.back();
  }
  return s;
}

TEST(FrequencyDomain, SineLandsInItsBandWithItsPower) {
  // A sine of amplitude a has power a^2 / 2 (s^2); over 10 minutes its main
  // lobe is a few thousandths of a Hz wide, far inside each band, and the
  // leakage of the sinc^2 sidelobes beyond the band edges stays below 1 %.
  struct Case {
    double f;
    std::size_t band;
  };
  const double a = 0.05;
  for (const Case c : {Case{0.1, 3}, Case{0.25, 4}, Case{0.02, 2}}) {
    const RRSeries s = sine_series(750, c.f, a);
    Record r{};
    r.fill(kUntouched);
    int32_T status = 0;
    calcHrvFreq(s.t.data(), s.rr.data(), 750, r.data(), &status);
    EXPECT_EQ(status, 0);
    EXPECT_NEAR(r[c.band], a * a / 2.0, 0.01 * a * a / 2.0) << c.f;
    EXPECT_NEAR(r[0], a * a / 2.0, 0.01 * a * a / 2.0) << c.f;
    for (std::size_t b = 1; b <= 4; ++b) {
      if (b != c.band) {
        EXPECT_LT(r[b], 0.02 * r[c.band]) << c.f << " band " << b;
      }
    }
  }
}

TEST(FrequencyDomain, NoPointAtOrBelowTheLimitSetsStatusFourAndNeverExits) {
  // Points 2..6 span 0.4 s: the lowest frequency is 1 / 1.6 Hz > 0.4 Hz.
  const V t{0.0, 0.1, 0.2, 0.3, 0.4, 0.5};
  const V rr{0.1, 0.1, 0.12, 0.1, 0.09, 0.1};
  Record r{};
  r.fill(kUntouched);
  int32_T status = 0;
  calcHrvFreq(t.data(), rr.data(), 6, r.data(), &status);
  EXPECT_EQ(status, 4);
  // Points 2..6 span 1.5 s: only 1/6 and 1/3 Hz lie at or below 0.4 Hz, too few
  // to integrate; the call returns with status 4.
  const V t2{0.0, 0.5, 0.75, 1.0, 1.5, 2.0};
  status = 0;
  calcHrvFreq(t2.data(), rr.data(), 6, r.data(), &status);
  EXPECT_EQ(status, 4);
  for (double v : r) EXPECT_EQ(v, kUntouched);
  status = 0;
  calcHrvFreq(nullptr, nullptr, 0, r.data(), &status);
  EXPECT_EQ(status, 4);
}

}  // namespace
