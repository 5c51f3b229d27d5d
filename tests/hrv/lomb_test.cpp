// Fast Lomb periodogram: FFT pair, extirpolation, sizing, and agreement with
// a direct Lomb-Scargle computation.
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <random>

#include "hrv/lomb.hpp"
#include "zynecgsolver/hrv.h"

namespace {
using V = std::vector<double>;
constexpr double kTwoPi = 2.0 * std::numbers::pi;

TEST(LombFft, ComplexFftMatchesADirectTransformAndInverts) {
  std::mt19937 rng(3);
  std::uniform_real_distribution<float> u(-1.0F, 1.0F);
  const std::size_t nn = 64;
  std::vector<float> data(2 * nn);
  for (float& v : data) v = u(rng);
  const std::vector<float> input = data;
  four1(data.data(), nn, 1);
  for (std::size_t k = 0; k < nn; ++k) {
    std::complex<double> sum = 0.0;
    for (std::size_t j = 0; j < nn; ++j) {
      sum += std::complex<double>(input[2 * j], input[2 * j + 1]) *
             std::polar(1.0, kTwoPi * static_cast<double>(j * k) / nn);  // exp(+2 pi i jk / nn)
    }
    EXPECT_NEAR(data[2 * k], sum.real(), 2e-5);
    EXPECT_NEAR(data[2 * k + 1], sum.imag(), 2e-5);
  }
  four1(data.data(), nn, -1);
  for (std::size_t i = 0; i < data.size(); ++i) EXPECT_NEAR(data[i] / nn, input[i], 1e-6);
  // Not a power of two: untouched.
  std::vector<float> odd(6, 1.0F);
  four1(odd.data(), 3, 1);
  EXPECT_EQ(odd, std::vector<float>(6, 1.0F));
}

// The classic in-place FFT loop order (twiddle outer, blocks inner), with
// the double-precision twiddle recurrence; the library must give the same
// bits whatever loop order or vector width it uses.
void textbook_four1(std::vector<float>& data, int isign) {
  const std::size_t n = data.size();
  std::size_t j = 1;
  for (std::size_t i = 1; i < n; i += 2) {
    if (j > i) {
      std::swap(data[j - 1], data[i - 1]);
      std::swap(data[j], data[i]);
    }
    std::size_t m = n / 2;
    while (m >= 2 && j > m) {
      j -= m;
      m /= 2;
    }
    j += m;
  }
  for (std::size_t mmax = 2; n > mmax; mmax *= 2) {
    const std::size_t istep = 2 * mmax;
    const double theta = isign * (6.28318530717959 / static_cast<double>(mmax));
    double wtemp = std::sin(0.5 * theta);
    const double wpr = -2.0 * wtemp * wtemp;
    const double wpi = std::sin(theta);
    double wr = 1.0;
    double wi = 0.0;
    for (std::size_t m = 1; m < mmax; m += 2) {
      for (std::size_t i = m; i <= n; i += istep) {
        const std::size_t k = i + mmax;
        const auto tempr = static_cast<float>(wr * data[k - 1] - wi * data[k]);
        const auto tempi = static_cast<float>(wr * data[k] + wi * data[k - 1]);
        data[k - 1] = data[i - 1] - tempr;
        data[k] = data[i] - tempi;
        data[i - 1] += tempr;
        data[i] += tempi;
      }
      wtemp = wr;
      wr = wtemp * wpr - wi * wpi + wr;
      wi = wi * wpr + wtemp * wpi + wi;
    }
  }
}

TEST(LombFft, SameBitsAsTheTextbookLoopOrder) {
  std::mt19937 rng(9);
  std::uniform_real_distribution<float> u(-1.0F, 1.0F);
  for (std::size_t nn : {1u, 2u, 4u, 512u, 4096u}) {  // 4096: twiddles come in several blocks
    std::vector<float> data(2 * nn);
    for (float& v : data) v = u(rng);
    std::vector<float> expected = data;
    textbook_four1(expected, -1);
    for (auto kernel : {zyn::FftKernel::kScalar, zyn::FftKernel::kSse2, zyn::FftKernel::kAvx}) {
      std::vector<float> out = data;
      zyn::complex_fft(out, -1, kernel);
      EXPECT_EQ(out, expected) << nn << " kernel " << static_cast<int>(kernel);
    }
  }
}

TEST(LombFft, RealFftPacksTheHalfSpectrum) {
  std::mt19937 rng(5);
  std::uniform_real_distribution<float> u(-1.0F, 1.0F);
  const std::size_t n = 128;
  std::vector<float> data(n);
  for (float& v : data) v = u(rng);
  const std::vector<float> input = data;
  realft(data.data(), n, 1);
  double dc = 0.0;
  double nyquist = 0.0;
  for (std::size_t j = 0; j < n; ++j) {
    dc += input[j];
    nyquist += (j % 2 == 0 ? 1.0 : -1.0) * input[j];
  }
  EXPECT_NEAR(data[0], dc, 2e-5);
  EXPECT_NEAR(data[1], nyquist, 2e-5);
  for (std::size_t k = 1; k < n / 2; ++k) {
    std::complex<double> sum = 0.0;
    for (std::size_t j = 0; j < n; ++j) {
      sum += static_cast<double>(input[j]) * std::polar(1.0, kTwoPi * static_cast<double>(j * k) / n);
    }
    EXPECT_NEAR(data[2 * k], sum.real(), 2e-5);
    EXPECT_NEAR(data[2 * k + 1], sum.imag(), 2e-5);
  }
  realft(data.data(), n, -1);
  for (std::size_t i = 0; i < n; ++i) EXPECT_NEAR(data[i] * 2.0F / n, input[i], 1e-6);
}

TEST(LombExtirpolation, WeightsReproduceLowOrderMomentsAndStayInside) {
  std::vector<float> yy(32, 0.0F);
  spread(yy.data(), yy.size(), 4, 2.0F, 7.0F);  // integral position: one slot
  EXPECT_EQ(yy[6], 2.0F);
  yy.assign(32, 0.0F);
  for (float x : {5.3F, 1.2F, 31.9F, 16.5F}) {
    std::fill(yy.begin(), yy.end(), 0.0F);
    spread(yy.data(), yy.size(), 4, 3.0F, x);
    double sum = 0.0;
    double first = 0.0;
    for (std::size_t j = 0; j < yy.size(); ++j) {
      sum += yy[j];
      first += yy[j] * static_cast<double>(j + 1);
    }
    EXPECT_NEAR(sum, 3.0, 1e-5) << x;  // Lagrange weights sum to one
    EXPECT_NEAR(first, 3.0 * x, 1e-3) << x;  // and reproduce linear functions
  }
  const std::vector<float> before = yy;
  spread(yy.data(), yy.size(), 11, 1.0F, 3.5F);  // no factorial for 11 points
  spread(yy.data(), yy.size(), 4, 1.0F, 33.0F);  // integral position past the end
  spread(yy.data(), yy.size(), 4, 1.0F, NAN);
  spread(yy.data(), 3, 4, 1.0F, 1.5F);  // fewer slots than points
  EXPECT_EQ(yy, before);
}

TEST(LombHelpers, MeanVarianceNameAndZeroMean) {
  const std::vector<float> d{1.0F, 2.0F, 3.0F, 6.0F};
  float ave = 0.0F;
  float var = 0.0F;
  avevar(d.data(), d.size(), &ave, &var);
  EXPECT_EQ(ave, 3.0F);
  EXPECT_FLOAT_EQ(var, 14.0F / 3.0F);
  EXPECT_EQ(pwr, var);
  std::vector<float> x = d;
  zeromean(x.data(), x.size());
  EXPECT_EQ(x, (std::vector<float>{-2.0F, -1.0F, 0.0F, 3.0F}));
  EXPECT_STREQ(prog_name("/usr/local/bin/tool"), "tool");
  EXPECT_STREQ(prog_name("tool"), "tool");
  EXPECT_STREQ(prog_name("dir/"), "");
  help();
}

TEST(LombSizing, WorkspacesAndGridFollowThePointCount) {
  EXPECT_EQ(zyn::lomb_workspace_size(512).points, 512u);
  EXPECT_EQ(zyn::lomb_workspace_size(512).grid, 32768u);
  EXPECT_EQ(zyn::lomb_workspace_size(513).points, 1024u);
  EXPECT_EQ(zyn::lomb_workspace_size(513).grid, 65536u);
  EXPECT_EQ(zyn::lomb_workspace_size(3).grid, 32768u);
  for (uint64_t n : {2u, 100u, 512u, 513u, 4097u, 100000u}) {
    const zyn::LombGrid g = zyn::lomb_grid(n - 1, 4.0F, 2.0F);
    EXPECT_EQ(g.frequencies, 4 * (n - 1));
    EXPECT_LE(g.gridSize, zyn::lomb_workspace_size(n).grid) << n;
  }
  // Workspaces smaller than the grid: nothing is computed.
  std::vector<float> x{0.0F, 1.0F, 2.5F};
  std::vector<float> y{1.0F, 0.5F, 0.7F};
  std::vector<float> wk(127, 5.0F);
  uint64_t nout = 99;
  uint64_t jmax = 99;
  float prob = -1.0F;
  fasper(x.data(), y.data(), 3, 4.0F, 2.0F, wk.data(), wk.data(), wk.size(), &nout, &jmax, &prob);
  EXPECT_EQ(nout, 0u);
  EXPECT_EQ(wk, std::vector<float>(127, 5.0F));
}

struct RRSeries {
  V t;
  V rr;
};

// Beat-to-beat series of n beats: irregular intervals with a sine of
// frequency f (Hz) and amplitude a (s) on top.
RRSeries irregular_series(std::size_t n, double f, double a, unsigned seed) {
  std::mt19937 rng(seed);
  std::normal_distribution<double> noise(0.0, 0.02);
  RRSeries s;
  double time = 0.0;
  for (std::size_t k = 0; k < n; ++k) {
    const double rr = 0.85 + a * std::sin(kTwoPi * f * time) + noise(rng);
    s.t.push_back(time);
    s.rr.push_back(rr);
    time += rr;
  }
  return s;
}

// Direct Lomb-Scargle power of points 2..n at frequency f, scaled as the
// spectrum delivers it (amplitude squared): the variance normalisation
// cancels, leaving (C^2 / CC + S^2 / SS) / nout.
double direct_power(const RRSeries& s, double f, double nout) {
  const std::size_t n = s.t.size();
  double mean = 0.0;
  for (std::size_t k = 1; k < n; ++k) mean += s.rr[k];
  mean /= static_cast<double>(n - 1);
  const double w = kTwoPi * f;
  double s2 = 0.0;
  double c2 = 0.0;
  for (std::size_t k = 1; k < n; ++k) {
    s2 += std::sin(2.0 * w * s.t[k]);
    c2 += std::cos(2.0 * w * s.t[k]);
  }
  const double tau = std::atan2(s2, c2) / (2.0 * w);
  double c = 0.0, cc = 0.0, sn = 0.0, ss = 0.0;
  for (std::size_t k = 1; k < n; ++k) {
    const double arg = w * (s.t[k] - tau);
    const double dy = s.rr[k] - mean;
    c += dy * std::cos(arg);
    cc += std::cos(arg) * std::cos(arg);
    sn += dy * std::sin(arg);
    ss += std::sin(arg) * std::sin(arg);
  }
  return (c * c / cc + sn * sn / ss) / nout;
}

TEST(LombSpectrum, AgreesWithADirectLombScargleComputation) {
  // Tolerance: the fast method interpolates each point onto a grid at least
  // 16 times finer than the highest delivered frequency needs. Cubic
  // Lagrange interpolation of exp(i w x) with w h <= pi/16 errs by at most
  // (w h)^4 / 4! * 9/16 ~ 3e-5 of the sums, and by ~6e-4 for the doubled
  // phase (w h <= pi/8) that only sets the time shift and denominators; float
  // rounding adds ~1e-7 * log2(grid). All are relative to the sums, hence to
  // the peak power: 1e-3 of the peak bounds them (observed: below 1e-4),
  // while a wrong frequency, scale or phase convention errs by far more.
  for (const auto& [n, f, a] : {std::tuple{300u, 0.1, 0.05}, std::tuple{700u, 0.27, 0.02},
                                std::tuple{64u, 0.05, 0.0}}) {
    const RRSeries s = irregular_series(n, f, a, n);
    V freq(2 * n, 0.0);
    V amp(2 * n, 0.0);
    calcLomb(s.t.data(), s.rr.data(), static_cast<int32_T>(n), freq.data(), amp.data(),
             static_cast<int32_T>(2 * n));
    const double xdif = s.t.back() - s.t[1];
    const double df = 1.0 / (xdif * 4.0);
    const double nout = 4.0 * (n - 1);
    V direct(2 * (n - 1));
    double peak = 0.0;
    for (std::size_t j = 1; j <= direct.size(); ++j) {
      direct[j - 1] = direct_power(s, static_cast<double>(j) * df, nout);
      peak = std::max(peak, direct[j - 1]);
    }
    double worst = 0.0;
    for (std::size_t j = 0; j < direct.size(); ++j) {
      EXPECT_NEAR(freq[j], static_cast<double>(j + 1) * df, 1e-6 * freq[j]);
      worst = std::max(worst, std::fabs(amp[j] * amp[j] - direct[j]) / peak);
    }
    EXPECT_LT(worst, 1e-3) << "n = " << n;
    // Exactly 2(n-1) frequencies are delivered, the highest the average
    // Nyquist frequency (n-1) / (2 span); the last two entries stay 0.
    EXPECT_NEAR(freq[2 * n - 3], (n - 1) / (2.0 * xdif), 1e-5);
    EXPECT_EQ(freq[2 * n - 2], 0.0);
    EXPECT_EQ(amp[2 * n - 1], 0.0);
  }
}

TEST(LombSpectrum, ConstantSeriesGivesNonFinitePowers) {
  const V t{0, 1, 2, 3, 4, 5};
  const V rr(6, 1.0);
  V freq(12, 0.0);
  V amp(12, 0.0);
  calcLomb(t.data(), rr.data(), 6, freq.data(), amp.data(), 12);
  EXPECT_FALSE(std::isfinite(amp[0]));
  EXPECT_EQ(freq[0], 1.0 / 16.0);
}

}  // namespace
