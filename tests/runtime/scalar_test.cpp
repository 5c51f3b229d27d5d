// Non-finite tests, rounding, floor and ceiling near 2^52, power special
// cases, spacing of doubles and the saturating int32 conversion.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <limits>
#include <vector>

#include "runtime/scalar.hpp"
#include "zynecgsolver/emxarray.h"
#include "zynecgsolver/rt_nonfinite.h"

namespace {

const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

template <void (*F)(double*)>
double in_place(double x) {
  F(&x);
  return x;
}
double saturated(double x) { return zyn::to_int32_saturated(x); }
bool same(double a, double b) { return a == b || (std::isnan(a) && std::isnan(b)); }

TEST(NonFinite, GlobalsAndDeliberateTests) {
  rt_InitInfAndNaN(8);
  EXPECT_EQ(std::bit_cast<uint64_t>(rtNaN), 0xFFF8000000000000ULL);
  // NaN is deliberately reported as infinite, never as NaN.
  EXPECT_FALSE(rtIsNaN(kNaN) || m_isnan(kNaN) || m_isfinite(kNaN));
  EXPECT_TRUE(rtIsInf(kNaN) && rtIsInfF(std::numeric_limits<float>::quiet_NaN()) && m_isinf(-kInf));
  EXPECT_TRUE(m_isfinite(1e308));
  rtInf = 0.0;  // a host that clobbers a constant gets it back on the next init
  rt_InitInfAndNaN(8);
  EXPECT_EQ(rtInf, kInf);
}

// Rounding adds the half first; floor and ceiling pass values at and beyond
// 2^52 and non-finite ones; the int32 conversion saturates (NaN to the top);
// eps follows the binary exponent.
TEST(Scalars, RoundingFloorCeilSaturationAndSpacing) {
  using Fn = double (*)(double);
  const Fn round = in_place<m_refp1_round>, floor = in_place<m_refp1_floor>, ceil = in_place<m_refp1_ceil>;
  const struct {
    Fn f;
    double x, want;
  } cases[] = {
      {round, 0.5, 1.0}, {round, -0.5, -1.0}, {round, 1.5, 2.0}, {round, -1.5, -2.0}, {round, 2.5, 3.0},
      {round, 0.49999999999999994, 1.0}, {round, 4503599627370497.0, 4503599627370498.0},
      {round, -kInf, -kInf}, {round, kNaN, kNaN}, {floor, kNaN, kNaN}, {floor, -kInf, -kInf}, {ceil, kInf, kInf},
      {floor, 4503599627370496.0, 4503599627370496.0}, {floor, -4503599627370497.0, -4503599627370497.0},
      {ceil, 4503599627370496.0, 4503599627370496.0}, {ceil, -4503599627370497.0, -4503599627370497.0},
      {zyn::floor_trunc, -2.5, -3.0}, {zyn::ceil_trunc, -2.5, -2.0}, {zyn::ceil_trunc, -0.25, 0.0},
      {zyn::floor_trunc, 4503599627370495.5, 4503599627370495.0},
      {saturated, 2147483647.4, 2147483647}, {saturated, 2147483647.5, 2147483647},
      {saturated, -2147483648.6, -2147483648.0}, {saturated, kNaN, 2147483647}, {saturated, -2.5, -3},
      {m_eps, 1.0, 0x1p-52}, {m_eps, 1.5, 0x1p-52}, {m_eps, 2.0, 0x1p-51}, {m_eps, -2.0, 0x1p-51},
      {m_eps, 0.0, 4.9406564584124654e-324}, {m_eps, 2.2250738585072014e-308, 4.9406564584124654e-324},
      {m_eps, kInf, kNaN}, {m_eps, kNaN, kNaN},
  };
  for (std::size_t k = 0; k < std::size(cases); ++k) {
    EXPECT_TRUE(same(cases[k].f(cases[k].x), cases[k].want)) << "case " << k << " x " << cases[k].x;
  }
  EXPECT_EQ(zyn::saturating_sub(-2000000000, 2000000000), -2147483647 - 1);
}

TEST(Power, SpecialCasesInOrder) {
  // {base, exponent, power}; a NaN exponent counts as infinite.
  const double x = 1.0000001;
  const double cases[][3] = {{-8.0, 1.0 / 3.0, kNaN}, {-2.0, 3.0, -8.0}, {4.0, 0.5, 2.0},  {-4.0, 0.5, kNaN},
                             {1.0, kInf, kNaN},        {-1.0, kNaN, kNaN}, {2.0, -kInf, 0.0}, {0.5, -kInf, kInf},
                             {0.5, kInf, 0.0},         {kNaN, 0.0, 1.0},   {4.0, -1.0, 0.25}, {x, 2.0, x * x}};
  for (const auto& [base, exponent, power] : cases) {
    EXPECT_TRUE(same(rt_pow_snf(base, exponent), power)) << base << " ^ " << exponent;
  }
}

TEST(Sign, ScalarAndColumnForms) {
  EXPECT_FALSE(std::signbit(in_place<m_b_refp1_sign>(-0.0)));
  double v[4] = {-3.0, 0.0, 2.0, 5.0};
  emxArray_real_T* col = emxCreateWrapper_real_T(v, 3, 1);  // only size[0] walked
  m_refp1_sign(col);
  EXPECT_EQ(std::vector<double>(v, v + 4), (std::vector<double>{-1.0, 0.0, 1.0, 5.0}));
  emxDestroyArray_real_T(col);
}

}  // namespace
