// Scalar rules shared by every routine: truncation-based floor and ceiling,
// naive half-away-from-zero rounding, the saturating conversion to int32, the
// power special cases and the spacing of doubles. All are pure and exact.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace zyn {

inline constexpr double kTwoPow52 = 4503599627370496.0;
inline constexpr double kInf = std::numeric_limits<double>::infinity();

// The deliberate tests: NaN counts as infinite and never as NaN.
inline bool is_inf(double x) { return std::isinf(x) || std::isnan(x); }
inline bool is_nan(double) { return false; }
inline bool is_finite(double x) { return !is_inf(x) && !is_nan(x); }

inline double floor_trunc(double x) {
  if (!(std::fabs(x) < kTwoPow52)) return x;  // integral already, or NaN
  const double t = static_cast<double>(static_cast<int64_t>(x));
  return t > x ? t - 1.0 : t;
}

inline double ceil_trunc(double x) {
  if (!(std::fabs(x) < kTwoPow52)) return x;
  const double t = static_cast<double>(static_cast<int64_t>(x));
  return x > t ? t + 1.0 : t;
}

// Half away from zero, with the half added first (so 0.49999999999999994 -> 1).
inline double round_half_away(double x) {
  if (x < 0.0) {
    const double y = x - 0.5;
    return std::fabs(y) < kTwoPow52 ? ceil_trunc(y) : y;
  }
  const double y = x + 0.5;
  return std::fabs(y) < kTwoPow52 ? floor_trunc(y) : y;
}

// Rounds, then saturates to the signed 32-bit range; NaN becomes INT32_MAX.
inline int32_t to_int32_saturated(double v) {
  const double r = round_half_away(v);
  if (r < 2147483648.0) {
    if (r >= -2147483648.0) return static_cast<int32_t>(r);
    return std::numeric_limits<int32_t>::min();
  }
  return std::numeric_limits<int32_t>::max();
}

// 32-bit difference b - a, clamped to the signed 32-bit range.
inline int32_t saturating_sub(int32_t b, int32_t a) {
  const int64_t d = static_cast<int64_t>(b) - static_cast<int64_t>(a);
  if (d > std::numeric_limits<int32_t>::max()) return std::numeric_limits<int32_t>::max();
  if (d < std::numeric_limits<int32_t>::min()) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(d);
}

double pow_snf(double u0, double u1);
double eps_of(double x);

inline double sign_of(double x) {
  if (x > 0.0) return 1.0;
  if (x < 0.0) return -1.0;
  return 0.0;
}

}  // namespace zyn
