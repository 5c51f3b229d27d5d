// Record builders shared by the HRV tests.
#pragma once

#include <cstdint>
#include <vector>

#include "zynecgsolver/emxarray.h"

namespace hrvtest {

// An int32 column owning a copy of values (released on scope exit).
class IntColumn {
 public:
  explicit IntColumn(const std::vector<int32_t>& values)
      : r_(emxCreate_int32_T(static_cast<int32_T>(values.size()), 1)) {
    for (std::size_t i = 0; i < values.size(); ++i) r_->data[i] = values[i];
  }
  ~IntColumn() { emxDestroyArray_int32_T(r_); }
  IntColumn(const IntColumn&) = delete;
  IntColumn& operator=(const IntColumn&) = delete;
  emxArray_int32_T* get() const { return r_; }

 private:
  emxArray_int32_T* r_;
};

// Peak positions (samples) of beats with the given RR intervals (samples),
// starting at `first`.
inline std::vector<int32_t> peaks_from_intervals(int32_t first, const std::vector<int32_t>& rr) {
  std::vector<int32_t> p{first};
  for (int32_t d : rr) p.push_back(p.back() + d);
  return p;
}

}  // namespace hrvtest
