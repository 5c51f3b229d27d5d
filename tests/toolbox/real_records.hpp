// Real-valued array records for the reduction and statistics tests.
#pragma once

#include <limits>
#include <span>
#include <vector>

#include "runtime/emx.hpp"

namespace toolbox_test {

inline const double kNaN = std::numeric_limits<double>::quiet_NaN();
inline const double kInf = std::numeric_limits<double>::infinity();

using RealRecord = zyn::RecordPtr<emxArray_real_T>;

inline RealRecord real_array(int32_t rows, int32_t cols, const std::vector<double>& values) {
  auto r = zyn::make_record<emxArray_real_T>(2);
  zyn::assign(r.get(), {rows, cols}, std::span<const double>(values));
  return r;
}
inline RealRecord column_of(const std::vector<double>& v) {
  return real_array(static_cast<int32_t>(v.size()), 1, v);
}
inline RealRecord row_of(const std::vector<double>& v) {
  return real_array(1, static_cast<int32_t>(v.size()), v);
}
inline RealRecord empty_output() { return zyn::make_record<emxArray_real_T>(2); }

}  // namespace toolbox_test
