// Exported C forms of the smoothing and statistics routines: thin adapters
// that read the records over all their elements, call the C++ implementation
// in stats.cpp and write the caller's output. No exception leaves them.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <span>
#include <vector>

#include "runtime/emx.hpp"
#include "toolbox/stats.hpp"
#include "zynecgsolver/toolbox_stats.h"

namespace {
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
}  // namespace

extern "C" {

ZYN_API void m_refp1_smooth_emlc(emxArray_real_T* x, real_T span) {
  zyn::guarded([&] { zyn::smooth_moving_average(zyn::elements(x), span); });
}

ZYN_API void m_cov(const emxArray_real_T* x, const emxArray_real_T* y, real_T C[4]) {
  if (C == nullptr) return;
  zyn::guarded([&] {
    const std::array<double, 4> c = zyn::covariance(zyn::elements(x), zyn::elements(y));
    std::copy(c.begin(), c.end(), C);
  });
}

ZYN_API real_T m_corr_emlc(const emxArray_real_T* x, const emxArray_real_T* y) {
  return zyn::guarded(kNaN, [&] { return zyn::corr(zyn::elements(x), zyn::elements(y)); });
}

ZYN_API void m_corrcoef(const emxArray_real_T* X, emxArray_real_T* R) {
  if (R == nullptr) return;
  zyn::guarded([&] {
    std::vector<double> r;
    zyn::corrcoef(zyn::elements(X), zyn::extent(X, 0), zyn::extent(X, 1), r);
    const auto cols = static_cast<int32_t>(std::sqrt(static_cast<double>(r.size())) + 0.5);
    zyn::assign(R, {cols, cols}, std::span<const double>(r));
  });
}

ZYN_API real_T m_kurtosis_emlc(emxArray_real_T* x) {
  return zyn::guarded(kNaN, [&] { return zyn::kurtosis(zyn::elements(x)); });
}

}  // extern "C"
