// Exported C forms of the find, range and sort routines: thin adapters that
// read array records as spans, call the one C++ implementation and write the
// caller's output record. Positions are 1-based; outputs follow the input's
// orientation (column walk -> n x 1, row walk -> 1 x n).
#include <algorithm>
#include <optional>

#include "runtime/emx.hpp"
#include "toolbox/search_sort.hpp"
#include "zynecgsolver/toolbox_search.h"

namespace {

std::vector<double> as_doubles(const std::vector<int32_t>& positions) {
  return {positions.begin(), positions.end()};
}

std::vector<double> at_most_one(std::optional<int32_t> position) {
  if (!position) return {};
  return {static_cast<double>(*position)};
}

// Fixed-size masks: result sized to the mask first, then shrunk to the hits.
void find_in_fixed_mask(const boolean_T* x, std::size_t n, real_T* out, int32_T* outSize) {
  if (outSize == nullptr) return;
  outSize[0] = 0;
  if (x == nullptr || out == nullptr) return;
  const std::vector<int32_t> hits = zyn::true_positions({x, n});
  std::copy(hits.begin(), hits.end(), out);
  outSize[0] = static_cast<int32_T>(hits.size());
}

template <class Record, class T>
void to_column(Record* out, const std::vector<T>& v) {
  if (out != nullptr) zyn::assign_column(out, v);
}
template <class Record, class T>
void to_row(Record* out, const std::vector<T>& v) {
  if (out != nullptr) zyn::assign_row(out, v);
}

}  // namespace

extern "C" {

ZYN_API void m_find(const emxArray_boolean_T* x, emxArray_real_T* i) {
  zyn::guarded([&] { to_column(i, as_doubles(zyn::true_positions(zyn::column(x)))); });
}

ZYN_API void m_b_find(const emxArray_boolean_T* x, emxArray_real_T* i) {
  zyn::guarded([&] { to_row(i, as_doubles(zyn::true_positions(zyn::row(x)))); });
}

ZYN_API void m_c_find(const boolean_T x[15], real_T i_data[], int32_T i_size[1]) {
  zyn::guarded([&] { find_in_fixed_mask(x, 15, i_data, i_size); });
}

ZYN_API void m_d_find(const boolean_T x[19], real_T i_data[], int32_T i_size[1]) {
  zyn::guarded([&] { find_in_fixed_mask(x, 19, i_data, i_size); });
}

ZYN_API void m_e_find(const emxArray_boolean_T* x, emxArray_real_T* i) {
  zyn::guarded([&] { to_column(i, at_most_one(zyn::first_true_position(zyn::column(x)))); });
}

ZYN_API void m_f_find(const emxArray_boolean_T* x, emxArray_real_T* i) {
  zyn::guarded([&] { to_column(i, at_most_one(zyn::last_true_position(zyn::column(x)))); });
}

ZYN_API void m_eml_li_find(const emxArray_boolean_T* x, emxArray_int32_T* y) {
  zyn::guarded([&] { to_row(y, zyn::true_positions(zyn::row(x))); });
}

ZYN_API void m_b_eml_li_find(const emxArray_boolean_T* x, emxArray_int32_T* y) {
  zyn::guarded([&] { to_column(y, zyn::true_positions(zyn::column(x))); });
}

ZYN_API void m_eml_integer_colon(int32_T n, emxArray_int32_T* y) {
  zyn::guarded([&] { to_row(y, zyn::integer_colon(n)); });
}

ZYN_API void m_eml_sort_idx(const emxArray_real_T* x, emxArray_int32_T* idx) {
  zyn::guarded([&] { to_column(idx, zyn::sort_permutation(zyn::column(x))); });
}

ZYN_API void m_b_eml_sort_idx(const emxArray_real_T* x, emxArray_int32_T* idx) {
  zyn::guarded([&] { to_row(idx, zyn::sort_permutation(zyn::row(x))); });
}

ZYN_API void m_refp1_sort(emxArray_real_T* x) {
  zyn::guarded([&] {
    const auto values = zyn::column(x);
    const std::vector<double> sorted = zyn::sorted_ascending(values);
    std::copy(sorted.begin(), sorted.end(), values.begin());
  });
}

ZYN_API void m_b_refp1_sort(emxArray_int32_T* x) {
  zyn::guarded([&] { zyn::sort_ascending_in_place(zyn::column(x)); });
}

}  // extern "C"
