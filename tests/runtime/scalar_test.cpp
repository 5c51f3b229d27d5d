// Non-finite tests, rounding, floor and ceiling near 2^52, power special
// cases, spacing of doubles and the saturating int32 conversion.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <limits>

#include "runtime/scalar.hpp"
#include "zynecgsolver/emxarray.h"
#include "zynecgsolver/rt_nonfinite.h"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

double rounded(double x) {
  m_refp1_round(&x);
  return x;
}

TEST(NonFinite, GlobalsAndDeliberateTests) {
  rt_InitInfAndNaN(8);
  EXPECT_EQ(std::bit_cast<uint64_t>(rtNaN), 0xFFF8000000000000ULL);
  EXPECT_EQ(std::bit_cast<uint32_t>(rtNaNF), 0xFFC00000U);
  EXPECT_EQ(rtMinusInfF, -std::numeric_limits<float>::infinity());
  // NaN is deliberately reported as infinite, never as NaN.
  EXPECT_FALSE(rtIsNaN(kNaN) || m_isnan(kNaN) || m_isfinite(kNaN));
  EXPECT_TRUE(rtIsInf(kNaN) && rtIsInfF(std::numeric_limits<float>::quiet_NaN()) && m_isinf(-kInf));
  EXPECT_TRUE(m_isfinite(1e308));
  rtInf = 0.0;  // a host that clobbers a constant gets it back on the next init
  rt_InitInfAndNaN(8);
  EXPECT_EQ(rtInf, kInf);
}

TEST(Rounding, HalfAwayFromZeroWithTheHalfAddedFirst) {
  const std::pair<double, double> cases[] = {{0.5, 1.0}, {-0.5, -1.0}, {1.5, 2.0}, {-1.5, -2.0}, {2.5, 3.0},
                                             {0.49999999999999994, 1.0}, {4503599627370497.0, 4503599627370498.0},
                                             {-kInf, -kInf}};
  for (const auto& [x, r] : cases) EXPECT_EQ(rounded(x), r) << x;
  EXPECT_TRUE(std::isnan(rounded(kNaN)));
}

TEST(Rounding, FloorAndCeilPassLargeAndNonFiniteValues) {
  for (double v : {4503599627370496.0, -4503599627370497.0, 1e300, kInf, -kInf}) {
    double f = v, c = v;
    m_refp1_floor(&f);
    m_refp1_ceil(&c);
    EXPECT_EQ(f, v);
    EXPECT_EQ(c, v);
  }
  double n = kNaN;
  m_refp1_floor(&n);
  EXPECT_TRUE(std::isnan(n));
  EXPECT_EQ(zyn::floor_trunc(-2.5), -3.0);
  EXPECT_EQ(zyn::ceil_trunc(-2.5), -2.0);
  EXPECT_EQ(zyn::floor_trunc(4503599627370495.5), 4503599627370495.0);
  EXPECT_EQ(zyn::ceil_trunc(-0.25), 0.0);
}

TEST(Rounding, SaturatingInt32Conversion) {
  const std::pair<double, int32_t> cases[] = {{2147483647.4, 2147483647}, {2147483647.5, 2147483647},
                                              {-2147483648.6, -2147483647 - 1}, {kNaN, 2147483647}, {-2.5, -3}};
  for (const auto& [x, n] : cases) EXPECT_EQ(zyn::to_int32_saturated(x), n) << x;
  EXPECT_EQ(zyn::saturating_sub(-2000000000, 2000000000), -2147483647 - 1);
}

TEST(Power, SpecialCasesInOrder) {
  // {base, exponent, power}; a NaN exponent counts as infinite.
  const double x = 1.0000001;
  const std::array<double, 3> cases[] = {{-8.0, 1.0 / 3.0, kNaN}, {-2.0, 3.0, -8.0}, {4.0, 0.5, 2.0},
                                         {-4.0, 0.5, kNaN},       {1.0, kInf, kNaN},  {-1.0, kNaN, kNaN},
                                         {2.0, -kInf, 0.0},       {0.5, -kInf, kInf}, {0.5, kInf, 0.0},
                                         {kNaN, 0.0, 1.0},        {4.0, -1.0, 0.25},  {x, 2.0, x * x}};
  for (const auto& [base, exponent, power] : cases) {
    const double got = rt_pow_snf(base, exponent);
    EXPECT_TRUE(got == power || (std::isnan(got) && std::isnan(power))) << base << " ^ " << exponent;
  }
}

TEST(Spacing, EpsFollowsTheBinaryExponent) {
  const std::pair<double, double> cases[] = {{1.0, 0x1p-52}, {1.5, 0x1p-52}, {2.0, 0x1p-51}, {-2.0, 0x1p-51},
                                             {0.0, 4.9406564584124654e-324},
                                             {2.2250738585072014e-308, 4.9406564584124654e-324}};
  for (const auto& [x, eps] : cases) EXPECT_EQ(m_eps(x), eps) << x;
  EXPECT_TRUE(std::isnan(m_eps(kInf)));
  EXPECT_TRUE(std::isnan(m_eps(kNaN)));
}

TEST(Sign, ScalarAndColumnForms) {
  double z = -0.0;
  m_b_refp1_sign(&z);
  EXPECT_FALSE(std::signbit(z));
  double v[4] = {-3.0, 0.0, 2.0, 5.0};
  emxArray_real_T* col = emxCreateWrapper_real_T(v, 3, 1);  // only size[0] walked
  m_refp1_sign(col);
  EXPECT_EQ(v[0], -1.0);
  EXPECT_EQ(v[2], 1.0);
  EXPECT_EQ(v[3], 5.0);
  emxDestroyArray_real_T(col);
}

}  // namespace
