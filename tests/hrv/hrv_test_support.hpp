// Helpers shared by the HRV tests.
#pragma once

#include <cstdint>
#include <vector>

#include "runtime/emx.hpp"

namespace hrvtest {

// An int32 column record holding a copy of values.
inline zyn::RecordPtr<emxArray_int32_T> int_column(const std::vector<int32_t>& values) {
  auto r = zyn::make_record<emxArray_int32_T>(2);
  zyn::assign_column(r.get(), values);
  return r;
}

template <class Record>
auto column_values(const Record* r) {
  return std::vector<std::remove_pointer_t<decltype(r->data)>>(r->data, r->data + r->size[0]);
}

// Peak positions (samples) starting at `first` with the given RR intervals.
inline std::vector<int32_t> peaks_from_intervals(int32_t first, const std::vector<int32_t>& rr) {
  std::vector<int32_t> p{first};
  for (int32_t d : rr) p.push_back(p.back() + d);
  return p;
}

}  // namespace hrvtest
