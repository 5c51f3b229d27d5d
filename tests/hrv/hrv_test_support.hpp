// Helpers shared by the HRV tests.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "zynecgsolver/emxarray.h"

namespace hrvtest {

struct IntColumnDeleter {
  void operator()(emxArray_int32_T* r) const { emxDestroyArray_int32_T(r); }
};
using IntColumn = std::unique_ptr<emxArray_int32_T, IntColumnDeleter>;

// An int32 column record holding a copy of values.
inline IntColumn int_column(const std::vector<int32_t>& values) {
  IntColumn r(emxCreate_int32_T(static_cast<int32_T>(values.size()), 1));
  for (std::size_t i = 0; i < values.size(); ++i) r->data[i] = values[i];
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
