// Fast Lomb periodogram: FFT bits, sizing, helpers, and agreement with a
// direct Lomb-Scargle computation.
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "common/every_variant.hpp"
#include "hrv/fft.hpp"
#include "hrv/lomb.hpp"
#include "zynecgsolver/hrv.h"

namespace {
using V = std::vector<double>;

// The classic in-place FFT loop order (twiddle outer, blocks inner) with the
// double twiddle recurrence: every variant of the library must give these bits.
void textbook_four1(std::vector<float>& d, int isign) {
  const std::size_t n = d.size();
  for (std::size_t i = 1, j = 1; i < n; i += 2) {
    if (j > i) {
      std::swap(d[j - 1], d[i - 1]);
      std::swap(d[j], d[i]);
    }
    std::size_t m = n / 2;
    for (; m >= 2 && j > m; m /= 2) j -= m;
    j += m;
  }
  for (std::size_t mmax = 2; n > mmax; mmax *= 2) {
    const double theta = isign * (6.28318530717959 / static_cast<double>(mmax));
    double wtemp = std::sin(0.5 * theta), wr = 1.0, wi = 0.0;
    const double wpr = -2.0 * wtemp * wtemp, wpi = std::sin(theta);
    for (std::size_t m = 1; m < mmax; m += 2) {
      for (std::size_t i = m; i <= n; i += 2 * mmax) {
        const std::size_t k = i + mmax;
        const auto tr = static_cast<float>(wr * d[k - 1] - wi * d[k]);
        const auto ti = static_cast<float>(wr * d[k] + wi * d[k - 1]);
        d[k - 1] = d[i - 1] - tr;
        d[k] = d[i] - ti;
        d[i - 1] += tr;
        d[i] += ti;
      }
      wtemp = wr;
      wr = wtemp * wpr - wi * wpi + wr;
      wi = wi * wpr + wtemp * wpi + wi;
    }
  }
}

// The classic real-transform unpacking with its own recurrence, for the
// forward direction (cached factors in the library).
void textbook_realft_forward(std::vector<float>& d) {
  const std::size_t n = d.size();
  textbook_four1(d, 1);
  const double theta = 3.141592653589793 / static_cast<double>(n >> 1);
  double wtemp = std::sin(0.5 * theta);
  const double wpr = -2.0 * wtemp * wtemp, wpi = std::sin(theta);
  double wr = 1.0 + wpr, wi = wpi;
  for (std::size_t i = 2; i <= (n >> 2); ++i) {
    const std::size_t i1 = i + i - 1, i2 = i1 + 1, i3 = n + 3 - i2, i4 = i3 + 1;
    const float h1r = 0.5F * (d[i1 - 1] + d[i3 - 1]), h1i = 0.5F * (d[i2 - 1] - d[i4 - 1]);
    const float h2r = 0.5F * (d[i2 - 1] + d[i4 - 1]), h2i = -0.5F * (d[i1 - 1] - d[i3 - 1]);
    d[i1 - 1] = static_cast<float>(h1r + wr * h2r - wi * h2i);
    d[i2 - 1] = static_cast<float>(h1i + wr * h2i + wi * h2r);
    d[i3 - 1] = static_cast<float>(h1r - wr * h2r + wi * h2i);
    d[i4 - 1] = static_cast<float>(-h1i + wr * h2i + wi * h2r);
    wtemp = wr;
    wr = wtemp * wpr - wi * wpi + wr;
    wi = wi * wpr + wtemp * wpi + wi;
  }
  const float h1r = d[0];
  d[0] = h1r + d[1];
  d[1] = h1r - d[1];
}

ZYN_TEST_ON_EVERY_VARIANT(LombFft);
TEST_P(LombFft, GivesTheTextbookBitsAndTheRealPairInverts) {
  std::mt19937 rng(9);
  std::uniform_real_distribution<float> u(-1.0F, 1.0F);
  for (std::size_t nn : {1u, 2u, 4u, 8u, 512u, 4096u, 65536u}) {  // 4096: several twiddle blocks per stage
    std::vector<float> data(2 * nn);
    for (float& v : data) v = u(rng);
    for (int isign : {1, -1}) {  // forward factors come from cached tables
      std::vector<float> expected = data;
      textbook_four1(expected, isign);
      std::vector<float> out = data;
      zyn::complex_fft(out, isign);
      EXPECT_EQ(out, expected) << nn << " sign " << isign;
    }
    std::vector<float> forward = data, expectedForward = data;
    realft(forward.data(), forward.size(), 1);
    textbook_realft_forward(expectedForward);
    EXPECT_EQ(forward, expectedForward) << nn;
    std::vector<float> round = data;  // inverse real transform returns n/2 times the input
    std::vector<float> twin(data.rbegin(), data.rend());
    std::vector<float> single = twin;
    zyn::real_fft_pair(round, twin, 1);  // a pair at once: the same bits as one by one
    realft(single.data(), single.size(), 1);
    EXPECT_EQ(twin, single);
    realft(round.data(), round.size(), -1);
    for (std::size_t i = 0; i < data.size(); ++i) ASSERT_NEAR(round[i] / static_cast<float>(nn), data[i], 1e-5);
  }
  std::vector<float> odd(6, 1.0F);  // not a power of two: untouched
  four1(odd.data(), 3, 1);
  EXPECT_EQ(odd, std::vector<float>(6, 1.0F));
}

TEST(LombHelpers, ExtirpolationAndMeanVariance) {
  std::vector<float> yy(32, 0.0F);
  spread(yy.data(), yy.size(), 4, 2.0F, 7.0F);  // integral position: one slot
  EXPECT_EQ(yy[6], 2.0F);
  const std::vector<float> before = yy;
  spread(yy.data(), yy.size(), 11, 1.0F, 3.5F);  // no factorial for 11 points
  spread(yy.data(), yy.size(), 4, 1.0F, 33.0F);  // past the end
  spread(yy.data(), 3, 4, 1.0F, 1.5F);           // fewer slots than points
  EXPECT_EQ(yy, before);
  std::vector<float> d{1.0F, 2.0F, 3.0F, 6.0F};
  float ave = 0.0F, var = 0.0F;
  avevar(d.data(), d.size(), &ave, &var);
  EXPECT_EQ(ave, 3.0F);
  EXPECT_FLOAT_EQ(var, 14.0F / 3.0F);
  EXPECT_EQ(pwr, var);
  zeromean(d.data(), d.size());
  EXPECT_EQ(d, (std::vector<float>{-2.0F, -1.0F, 0.0F, 3.0F}));
}

TEST(LombSizing, TooSmallWorkspacesAreRefusedUntouched) {
  for (uint64_t n : {2u, 512u, 513u, 100000u}) {  // the grid fits the workspace sized for n points
    EXPECT_EQ(zyn::lomb_grid(n - 1, 4.0F, 2.0F).frequencies, 4 * (n - 1));
    EXPECT_LE(zyn::lomb_grid(n - 1, 4.0F, 2.0F).gridSize, zyn::lomb_workspace_size(n).grid);
  }
  const std::vector<float> x{0.0F, 1.0F, 2.5F}, y{1.0F, 0.5F, 0.7F};
  std::vector<float> wk(127, 5.0F);
  uint64_t nout = 99, jmax = 99;
  float prob = -1.0F;
  fasper(x.data(), y.data(), 3, 4.0F, 2.0F, wk.data(), wk.data(), wk.size(), &nout, &jmax, &prob);
  EXPECT_EQ(nout, 0u);
  EXPECT_EQ(wk, std::vector<float>(127, 5.0F));
}

// Direct Lomb-Scargle power of points 2..n at f, scaled as the spectrum
// delivers it (amplitude squared): the variance cancels, leaving
// (C^2 / CC + S^2 / SS) / nout, in double precision.
double direct_power(const V& t, const V& rr, double f, double nout) {
  const std::size_t n = t.size();
  double mean = 0.0, s2 = 0.0, c2 = 0.0, c = 0.0, cc = 0.0, s = 0.0, ss = 0.0;
  for (std::size_t k = 1; k < n; ++k) mean += rr[k] / static_cast<double>(n - 1);
  const double w = 2.0 * M_PI * f;
  for (std::size_t k = 1; k < n; ++k) s2 += std::sin(2 * w * t[k]), c2 += std::cos(2 * w * t[k]);
  const double tau = std::atan2(s2, c2) / (2.0 * w);
  for (std::size_t k = 1; k < n; ++k) {
    const double cosine = std::cos(w * (t[k] - tau)), sine = std::sin(w * (t[k] - tau));
    c += (rr[k] - mean) * cosine, cc += cosine * cosine;
    s += (rr[k] - mean) * sine, ss += sine * sine;
  }
  return (c * c / cc + s * s / ss) / nout;
}

TEST(LombSpectrum, AgreesWithADirectLombScargleComputation) {
  // Tolerance: each point is interpolated onto a grid at least 16 times finer
  // than the highest delivered frequency needs; cubic Lagrange interpolation
  // of exp(i w x) with w h <= pi/16 errs by at most (w h)^4 / 4! * 9/16 ~ 3e-5
  // of the sums, ~6e-4 for the doubled phase (w h <= pi/8) that only sets the
  // time shift and denominators, and float rounding adds ~1e-7 * log2(grid).
  // All are relative to the sums, hence to the peak power: 1e-3 of the peak
  // bounds them (observed: below 1e-4); a wrong frequency, scale or phase
  // convention errs by far more.
  std::mt19937 rng(4);
  std::normal_distribution<double> noise(0.0, 0.02);
  for (const auto& [n, f, a] : {std::tuple{300u, 0.1, 0.05}, std::tuple{700u, 0.27, 0.02},
                                std::tuple{64u, 0.05, 0.0}}) {
    V t, rr;
    for (double time = 0.0; t.size() < n; time += rr.back()) {
      t.push_back(time);
      rr.push_back(0.85 + a * std::sin(2 * M_PI * f * time) + noise(rng));
    }
    V freq(2 * n, 0.0), amp(2 * n, 0.0);
    calcLomb(t.data(), rr.data(), static_cast<int32_T>(n), freq.data(), amp.data(),
             static_cast<int32_T>(2 * n));
    const double df = 1.0 / ((t.back() - t[1]) * 4.0);
    V direct(2 * (n - 1));
    const auto f_j = [&](std::size_t j) { return static_cast<double>(j + 1) * df; };
    for (std::size_t j = 0; j < direct.size(); ++j) direct[j] = direct_power(t, rr, f_j(j), 4.0 * (n - 1));
    const double peak = *std::max_element(direct.begin(), direct.end());
    double worst = 0.0;
    for (std::size_t j = 0; j < direct.size(); ++j) {
      EXPECT_NEAR(freq[j], f_j(j), 1e-6 * freq[j]);
      worst = std::max(worst, std::fabs(amp[j] * amp[j] - direct[j]) / peak);
    }
    EXPECT_LT(worst, 1e-3) << "n = " << n;
    // 2(n-1) frequencies, the highest the average Nyquist frequency; two zeros stay.
    EXPECT_EQ(freq[2 * n - 2], 0.0);
    EXPECT_EQ(amp[2 * n - 1], 0.0);
  }
  const V t{0, 1, 2, 3, 4, 5}, constant(6, 1.0);  // zero variance: non-finite powers
  V freq(12, 0.0), amp(12, 0.0);
  calcLomb(t.data(), constant.data(), 6, freq.data(), amp.data(), 12);
  EXPECT_FALSE(std::isfinite(amp[0]));
}

}  // namespace
