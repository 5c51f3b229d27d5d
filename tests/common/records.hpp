// Array records for the tests: real matrices, rows and columns of any element
// type, their contents and shapes, and beat positions built from intervals.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>
#include <vector>

#include "runtime/emx.hpp"

namespace zyn::testing {

inline const double kNaN = std::numeric_limits<double>::quiet_NaN();
inline const double kInf = std::numeric_limits<double>::infinity();

using RealRecord = zyn::RecordPtr<emxArray_real_T>;

inline RealRecord real_array(int32_t rows, int32_t cols, const std::vector<double>& values) {
  auto r = zyn::make_record<emxArray_real_T>(2);
  zyn::assign(r.get(), {rows, cols}, std::span<const double>(values));
  return r;
}
inline RealRecord column_of(const std::vector<double>& v) { return real_array(static_cast<int32_t>(v.size()), 1, v); }
inline RealRecord row_of(const std::vector<double>& v) { return real_array(1, static_cast<int32_t>(v.size()), v); }
inline RealRecord empty_output() { return zyn::make_record<emxArray_real_T>(2); }

template <class T>
auto record(const std::vector<T>& v, bool asRow = false) {
  auto r = zyn::make_record<typename zyn::RecordFor<T>::type>(2);
  if (asRow) zyn::assign_row(r.get(), v); else zyn::assign_column(r.get(), v);
  return r;
}
// Every element of a record (a RecordPtr or a plain pointer).
template <class Record>
auto contents(const Record& r) {
  const auto e = zyn::elements(&*r);
  return std::vector<std::remove_const_t<typename decltype(e)::element_type>>(e.begin(), e.end());
}
template <class Record>
std::vector<int32_t> shape(const Record& r) { return {r->size[0], r->size[1]}; }

// Peak positions (samples) starting at `first` with the given RR intervals.
inline std::vector<int32_t> peaks_from_intervals(int32_t first, const std::vector<int32_t>& rr) {
  std::vector<int32_t> p{first};
  for (int32_t d : rr) p.push_back(p.back() + d);
  return p;
}

}  // namespace zyn::testing
