// Record helpers shared by the search, sort and set tests.
#pragma once

#include <type_traits>
#include <vector>

#include "runtime/emx.hpp"

namespace search_test {

template <class T>
auto record(const std::vector<T>& v, bool asRow) {
  auto r = zyn::make_record<typename zyn::RecordFor<T>::type>(2);
  if (asRow) zyn::assign_row(r.get(), v); else zyn::assign_column(r.get(), v);
  return r;
}
template <class Record>
auto contents(const Record& r) {
  const auto e = zyn::elements(r.get());
  return std::vector<std::remove_const_t<typename decltype(e)::element_type>>(e.begin(), e.end());
}
template <class Record>
std::vector<int32_t> shape(const Record& r) { return {r->size[0], r->size[1]}; }

}  // namespace search_test
