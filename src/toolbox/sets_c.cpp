// Exported C forms of the set routines: thin adapters over the C++
// implementations. Inputs and outputs are 1 x n rows (second extent walked);
// m_ismember's result takes the shape of its first argument.
#include <algorithm>

#include "runtime/emx.hpp"
#include "toolbox/sets.hpp"
#include "zynecgsolver/toolbox_search.h"

extern "C" {

ZYN_API void m_unique(const emxArray_real_T* a, emxArray_real_T* b) {
  zyn::guarded([&] {
    if (b != nullptr) zyn::assign_row(b, zyn::unique_values(zyn::row(a)));
  });
}

ZYN_API void m_b_unique(const emxArray_real_T* a, emxArray_real_T* b, emxArray_real_T* ndx) {
  zyn::guarded([&] {
    const zyn::UniqueWithPositions u = zyn::unique_values_with_positions(zyn::row(a));
    if (b != nullptr) zyn::assign_row(b, u.values);
    if (ndx != nullptr) {
      zyn::assign_row(ndx, std::vector<double>(u.positions.begin(), u.positions.end()));
    }
  });
}

ZYN_API void m_union(const emxArray_int32_T* a, const emxArray_int32_T* b, emxArray_int32_T* c) {
  zyn::guarded([&] {
    if (c != nullptr) zyn::assign_row(c, zyn::union_sorted(zyn::row(a), zyn::row(b)));
  });
}

ZYN_API void m_ismember(const emxArray_int32_T* a, const emxArray_int32_T* s,
                        emxArray_boolean_T* tf) {
  zyn::guarded([&] {
    if (tf == nullptr) return;
    const std::vector<unsigned char> found = zyn::is_member(zyn::elements(a), zyn::row(s));
    zyn::resize(tf, {zyn::extent(a, 0), zyn::extent(a, 1)});
    const auto out = zyn::elements(tf);
    std::fill(out.begin(), out.end(), static_cast<boolean_T>(0));  // elements a lacks stay false
    std::copy_n(found.begin(), std::min(out.size(), found.size()), out.begin());
  });
}

ZYN_API void m_setdiff(const emxArray_real_T* a, const emxArray_real_T* b, emxArray_real_T* c) {
  zyn::guarded([&] {
    if (c != nullptr) zyn::assign_row(c, zyn::set_difference(zyn::row(a), zyn::row(b)));
  });
}

}  // extern "C"
