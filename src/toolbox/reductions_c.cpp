// Exported C forms of the elementwise operations and reductions. Each is a
// thin adapter: it reads the record as a column walk (first extent), a row
// walk (second extent) or all elements, calls the one C++ implementation in
// reductions.cpp and writes the output record with the extents its caller
// expects. No exception leaves these functions.
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "runtime/emx.hpp"
#include "runtime/scalar.hpp"
#include "toolbox/reductions.hpp"
#include "zynecgsolver/toolbox_reductions.h"

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

int32_t as_extent(std::size_t n) { return static_cast<int32_t>(n); }

// Resizes the caller's output record to rows x cols and copies values into it.
void write_output(emxArray_real_T* y, int32_t rows, int32_t cols, const std::vector<double>& values) {
  if (y == nullptr) return;
  zyn::assign(y, {rows, cols}, std::span<const double>(values));
}
void write_column(emxArray_real_T* y, const std::vector<double>& values) {
  write_output(y, as_extent(values.size()), 1, values);
}
void write_row(emxArray_real_T* y, const std::vector<double>& values) {
  write_output(y, 1, as_extent(values.size()), values);
}

void report_max(zyn::MaxWithPosition best, real_T* maxval, real_T* indx) {
  if (maxval != nullptr) *maxval = best.value;
  if (indx != nullptr) *indx = best.position;
}

template <class Record>
real_T length_2d(const Record* x) {
  return zyn::length_of(zyn::extent(x, 0), zyn::extent(x, 1));
}

}  // namespace

extern "C" {

// --- Maxima and minima ------------------------------------------------------

ZYN_API real_T m_max(const emxArray_real_T* x) {
  return zyn::guarded(kNaN, [&] { return zyn::max_value(zyn::column(x)); });
}
ZYN_API real_T m_b_max(const emxArray_real_T* x) {
  return zyn::guarded(kNaN, [&] { return zyn::max_value(zyn::row(x)); });
}
ZYN_API real_T m_c_max(real_T a, real_T b) { return zyn::larger_of(a, b); }

ZYN_API void m_d_max(const emxArray_real_T* x, emxArray_real_T* y) {
  zyn::guarded([&] {
    write_column(y, zyn::row_maxima(zyn::elements(x), zyn::extent(x, 0), zyn::extent(x, 1)));
  });
}

ZYN_API void m_e_max(const emxArray_real_T* x, real_T* maxval, real_T* indx) {
  report_max(zyn::max_with_position(zyn::row(x)), maxval, indx);
}
ZYN_API void m_f_max(const emxArray_real_T* x, real_T* maxval, real_T* indx) {
  report_max(zyn::max_with_position(zyn::column(x)), maxval, indx);
}

ZYN_API real_T m_min(const emxArray_real_T* x) {
  return zyn::guarded(kNaN, [&] { return zyn::min_value(zyn::column(x)); });
}
ZYN_API real_T m_b_min(const emxArray_real_T* x) {
  return zyn::guarded(kNaN, [&] { return zyn::min_value(zyn::row(x)); });
}
ZYN_API real_T m_c_min(real_T a, real_T b) { return zyn::smaller_of(a, b); }
ZYN_API int32_T m_d_min(int32_T a, int32_T b) { return a < b ? a : b; }
ZYN_API real_T m_e_min(const real_T p[2]) {
  return p == nullptr ? kNaN : zyn::smaller_of_pair(p[0], p[1]);
}
ZYN_API real_T m_range_emlc(const emxArray_real_T* x) {
  return zyn::guarded(kNaN, [&] { return zyn::value_range(zyn::row(x)); });
}

// --- Sums, means, medians, variances ----------------------------------------

ZYN_API real_T m_sum(const emxArray_real_T* x) { return zyn::sum(zyn::column(x)); }
ZYN_API real_T m_b_sum(const emxArray_real_T* x) { return zyn::sum(zyn::column(x)); }
ZYN_API real_T m_d_sum(const emxArray_real_T* x) { return zyn::sum(zyn::row(x)); }
ZYN_API real_T m_f_sum(const emxArray_real_T* x) { return zyn::sum(zyn::row(x)); }
ZYN_API real_T m_e_sum(const emxArray_boolean_T* x) { return zyn::count_true(zyn::column(x)); }
ZYN_API real_T m_g_sum(const real_T x[2]) { return x == nullptr ? kNaN : x[0] + x[1]; }

ZYN_API void m_c_sum(const emxArray_real_T* x, emxArray_real_T* y) {
  zyn::guarded([&] {
    write_row(y, zyn::column_sums(zyn::elements(x), zyn::extent(x, 0), zyn::extent(x, 1)));
  });
}

ZYN_API real_T m_mean(const emxArray_real_T* x) { return zyn::mean(zyn::column(x)); }
ZYN_API real_T m_b_mean(const emxArray_real_T* x) { return zyn::mean(zyn::row(x)); }
ZYN_API real_T m_c_mean(const real_T x[2]) {
  return x == nullptr ? kNaN : zyn::mean(std::span<const double>(x, 2));
}

ZYN_API real_T m_median(const emxArray_real_T* x) {
  return zyn::guarded(kNaN, [&] { return zyn::median(zyn::column(x)); });
}
ZYN_API real_T m_b_median(const emxArray_real_T* x) {
  return zyn::guarded(kNaN, [&] { return zyn::median(zyn::row(x)); });
}
ZYN_API real_T m_var(const emxArray_real_T* x) { return zyn::variance(zyn::column(x)); }
ZYN_API real_T m_std(const emxArray_real_T* x) { return zyn::standard_deviation(zyn::column(x)); }

// --- Differences ------------------------------------------------------------

// A one-element input gives a 0 x 0 result in both orientations; an empty one
// keeps its orientation (0 x 1 for a column, 1 x 0 for a row).
ZYN_API void m_diff(const emxArray_real_T* x, emxArray_real_T* y) {
  zyn::guarded([&] {
    const auto values = zyn::column(x);
    if (values.size() == 1) return write_output(y, 0, 0, {});
    write_column(y, zyn::diff(values));
  });
}
ZYN_API void m_b_diff(const emxArray_real_T* x, emxArray_real_T* y) {
  zyn::guarded([&] {
    const auto values = zyn::row(x);
    if (values.size() == 1) return write_output(y, 0, 0, {});
    write_row(y, zyn::diff(values));
  });
}
ZYN_API void m_c_diff(const real_T x[17], real_T y[16]) {
  if (x != nullptr && y != nullptr) zyn::diff_into(std::span<const double>(x, 17), std::span<double>(y, 16));
}
ZYN_API void m_d_diff(const real_T x[21], real_T y[20]) {
  if (x != nullptr && y != nullptr) zyn::diff_into(std::span<const double>(x, 21), std::span<double>(y, 20));
}

// --- Division, powers, remainder, absolute value -----------------------------

ZYN_API real_T m_eml_div(real_T a, real_T b) { return a / b; }
ZYN_API real_T m_rdivide(real_T a, real_T b) { return a / b; }
ZYN_API real_T m_mrdivide(real_T a, real_T b) { return a / b; }

ZYN_API void m_b_rdivide(const emxArray_real_T* x, const emxArray_real_T* y, emxArray_real_T* z) {
  zyn::guarded([&] { write_column(z, zyn::divide_elementwise(zyn::column(x), zyn::column(y))); });
}
ZYN_API void m_c_rdivide(const emxArray_real_T* x, real_T s, emxArray_real_T* y) {
  zyn::guarded([&] { write_row(y, zyn::scale_by_reciprocal(zyn::row(x), s)); });
}
ZYN_API void m_b_mrdivide(const emxArray_real_T* x, real_T s, emxArray_real_T* y) {
  zyn::guarded([&] { write_row(y, zyn::scale_by_reciprocal(zyn::row(x), s)); });
}

ZYN_API real_T m_b_power(real_T a, real_T b) { return zyn::pow_snf(a, b); }
ZYN_API real_T m_mpower(real_T x) { return m_b_power(x, 2.0); }
ZYN_API void m_power(const emxArray_real_T* x, emxArray_real_T* y) {
  zyn::guarded([&] { write_column(y, zyn::squares(zyn::column(x))); });
}
ZYN_API void m_c_power(const emxArray_real_T* x, emxArray_real_T* y) {
  zyn::guarded([&] { write_column(y, zyn::cubes(zyn::column(x))); });
}

ZYN_API void m_mod(const emxArray_real_T* x, emxArray_real_T* y) {
  zyn::guarded([&] { write_row(y, zyn::mod2(zyn::row(x))); });
}

ZYN_API void m_abs(const emxArray_real_T* x, emxArray_real_T* y) {
  zyn::guarded([&] {
    write_output(y, zyn::extent(x, 0), zyn::extent(x, 1), zyn::abs_values(zyn::elements(x)));
  });
}
ZYN_API void m_c_abs(const emxArray_real_T* x, emxArray_real_T* y) {
  zyn::guarded([&] { write_column(y, zyn::abs_values(zyn::column(x))); });
}

// --- Lengths, tests and fills --------------------------------------------------

ZYN_API real_T m_length(const emxArray_real_T* x) { return zyn::length_of(zyn::extent(x, 0), 1); }
ZYN_API real_T m_c_length(const emxArray_int32_T* x) { return zyn::length_of(zyn::extent(x, 0), 1); }
ZYN_API real_T m_b_length(const emxArray_real_T* x) { return length_2d(x); }
ZYN_API real_T m_d_length(const emxArray_int32_T* x) { return length_2d(x); }
ZYN_API real_T m_e_length(const emxArray_boolean_T* x) { return length_2d(x); }

ZYN_API boolean_T m_all(const emxArray_boolean_T* x) { return zyn::all_nonzero(zyn::column(x)) ? 1 : 0; }

ZYN_API boolean_T m_isequal(const emxArray_real_T* a, const emxArray_real_T* b) {
  if (a == nullptr || b == nullptr) return 0;
  if (zyn::extent(a, 0) != zyn::extent(b, 0) || zyn::extent(a, 1) != zyn::extent(b, 1)) return 0;
  return zyn::same_values(zyn::row(a), zyn::row(b)) ? 1 : 0;
}

ZYN_API void m_repmat(real_T value, real_T count, emxArray_real_T* y) {
  zyn::guarded([&] { write_row(y, zyn::repeated(value, count)); });
}

}  // extern "C"
