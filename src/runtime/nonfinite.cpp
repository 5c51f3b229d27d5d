// Non-finite constants, the NaN / infinity tests, scalar rounding, power and
// spacing of doubles, exported as the C surface of the array runtime.
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <mutex>

#include "runtime/emx.hpp"
#include "runtime/scalar.hpp"
#include "zynecgsolver/rt_nonfinite.h"

namespace zyn {
namespace {
constexpr uint64_t kNaNBits = 0xFFF8000000000000ULL;
constexpr uint32_t kNaNFBits = 0xFFC00000U;
const double kNaN = std::bit_cast<double>(kNaNBits);
const float kNaNF = std::bit_cast<float>(kNaNFBits);
}  // namespace

double pow_snf(double u0, double u1) {
  if (is_inf(u1)) {  // infinite exponent (or NaN, by the deliberate test)
    const double a = std::fabs(u0);
    if (a == 1.0) return kNaN;
    if (a > 1.0) return u1 > 0.0 ? kInf : 0.0;
    return u1 > 0.0 ? 0.0 : kInf;
  }
  const double b = std::fabs(u1);
  if (b == 0.0) return 1.0;
  if (b == 1.0) return u1 > 0.0 ? u0 : 1.0 / u0;
  if (u1 == 2.0) return u0 * u0;
  if (u1 == 0.5 && u0 >= 0.0) return std::sqrt(u0);
  if (u0 < 0.0 && u1 > std::floor(u1)) return kNaN;
  return std::pow(u0, u1);
}

double eps_of(double x) {
  const double r = std::fabs(x);
  if (!is_finite(r)) return kNaN;
  if (r <= 2.2250738585072014e-308) return 4.9406564584124654e-324;
  int e = 0;
  (void)std::frexp(r, &e);
  return std::ldexp(1.0, e - 53);
}

}  // namespace zyn

extern "C" {

ZYN_API real_T rtInf = 0.0;
ZYN_API real_T rtMinusInf = 0.0;
ZYN_API real_T rtNaN = 0.0;
ZYN_API real32_T rtInfF = 0.0F;
ZYN_API real32_T rtMinusInfF = 0.0F;
ZYN_API real32_T rtNaNF = 0.0F;

ZYN_API real_T rtGetInf(void) { return std::numeric_limits<double>::infinity(); }
ZYN_API real_T rtGetMinusInf(void) { return -std::numeric_limits<double>::infinity(); }
ZYN_API real_T rtGetNaN(void) { return zyn::kNaN; }
ZYN_API real32_T rtGetInfF(void) { return std::numeric_limits<float>::infinity(); }
ZYN_API real32_T rtGetMinusInfF(void) { return -std::numeric_limits<float>::infinity(); }
ZYN_API real32_T rtGetNaNF(void) { return zyn::kNaNF; }

// Every entry unit calls this on every call, possibly from many threads at
// once. The first call writes the globals under a once-flag; later calls only
// read them and rewrite one that a host has changed, so concurrent analyses
// never race on the writes.
ZYN_API void rt_InitInfAndNaN(size_t) {
  static std::once_flag once;
  auto write_all = [] {
    rtNaN = rtGetNaN();
    rtNaNF = rtGetNaNF();
    rtInf = rtGetInf();
    rtInfF = rtGetInfF();
    rtMinusInf = rtGetMinusInf();
    rtMinusInfF = rtGetMinusInfF();
  };
  try {
    std::call_once(once, write_all);
  } catch (...) {
  }
  const bool intact = std::bit_cast<uint64_t>(rtNaN) == zyn::kNaNBits &&
                      std::bit_cast<uint32_t>(rtNaNF) == zyn::kNaNFBits &&
                      rtInf == rtGetInf() && rtInfF == rtGetInfF() &&
                      rtMinusInf == rtGetMinusInf() && rtMinusInfF == rtGetMinusInfF();
  if (!intact) write_all();
}

ZYN_API boolean_T rtIsInf(real_T value) { return zyn::is_inf(value) ? 1 : 0; }
ZYN_API boolean_T rtIsInfF(real32_T value) { return zyn::is_inf(static_cast<double>(value)) ? 1 : 0; }
ZYN_API boolean_T rtIsNaN(real_T) { return 0; }
ZYN_API boolean_T rtIsNaNF(real32_T) { return 0; }
ZYN_API boolean_T m_isinf(real_T x) { return rtIsInf(x); }
ZYN_API boolean_T m_isnan(real_T x) { return rtIsNaN(x); }
ZYN_API boolean_T m_isfinite(real_T x) { return zyn::is_finite(x) ? 1 : 0; }

ZYN_API real_T m_eml_scalar_abs(real_T x) { return std::fabs(x); }
ZYN_API real_T m_b_abs(real_T x) { return std::fabs(x); }

ZYN_API void m_refp1_eml_scalar_floor(real_T* x) { *x = zyn::floor_trunc(*x); }
ZYN_API void m_refp1_floor(real_T* x) { *x = zyn::floor_trunc(*x); }
ZYN_API void m_refp1_ceil(real_T* x) { *x = zyn::ceil_trunc(*x); }
ZYN_API void m_refp1_eml_scalar_round(real_T* x) { *x = zyn::round_half_away(*x); }
ZYN_API void m_refp1_round(real_T* x) { *x = zyn::round_half_away(*x); }
ZYN_API void m_refp1_sqrt(real_T* x) { *x = std::sqrt(*x); }
ZYN_API void m_b_refp1_sign(real_T* x) { *x = zyn::sign_of(*x); }

ZYN_API void m_refp1_sign(emxArray_real_T* x) {
  for (double& v : zyn::column(x)) v = zyn::sign_of(v);
}
ZYN_API void m_refp1_exp(emxArray_real_T* x) {
  for (double& v : zyn::column(x)) v = std::exp(v);
}

ZYN_API real_T rt_pow_snf(real_T u0, real_T u1) { return zyn::pow_snf(u0, u1); }
ZYN_API real_T m_eps(real_T x) { return zyn::eps_of(x); }

}  // extern "C"
