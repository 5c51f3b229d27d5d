// Internal C++ access to the dynamic array records.
//
// Algorithms are written over std::span / std::vector; the exported C
// adapters use these helpers to read a record as a span (column walk: first
// extent; row walk: second extent; all elements), to resize and fill an output
// record, and to own temporaries through RAII. Reads are clamped to the
// record's capacity so that an inconsistent record can never be read out of
// bounds.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <new>
#include <span>
#include <type_traits>
#include <vector>

#include "zynecgsolver/emxarray.h"

namespace zyn {

// Maps a record type to its element type and back.
template <class Record>
using ElementOf = std::remove_pointer_t<decltype(Record::data)>;

template <class T> struct RecordFor;
template <> struct RecordFor<double> { using type = emxArray_real_T; };
template <> struct RecordFor<int32_t> { using type = emxArray_int32_T; };
template <> struct RecordFor<int16_t> { using type = emxArray_int16_T; };
template <> struct RecordFor<unsigned char> { using type = emxArray_boolean_T; };

// Extent d (0-based) of a record, 1 for dimensions it does not have, never negative.
template <class Record>
int32_t extent(const Record* r, int d) {
  if (r == nullptr || r->size == nullptr) return 0;
  if (d >= r->numDimensions) return 1;
  return std::max<int32_t>(r->size[d], 0);
}

// Product of all extents in 64 bits (1 for a record without dimensions).
template <class Record>
int64_t element_count(const Record* r) {
  if (r == nullptr || r->size == nullptr) return 0;
  int64_t n = 1;
  for (int32_t d = 0; d < r->numDimensions; ++d) {
    n *= std::max<int32_t>(r->size[d], 0);
    if (n > INT32_MAX) return INT32_MAX;
  }
  return n;
}

namespace detail {
template <class Record>
std::size_t readable(const Record* r, int64_t wanted) {
  if (r == nullptr || r->data == nullptr || wanted <= 0) return 0;
  return static_cast<std::size_t>(std::min<int64_t>(wanted, std::max<int32_t>(r->allocatedSize, 0)));
}
}  // namespace detail

// Positions 1 .. size[0] (a column walk).
template <class Record>
std::span<ElementOf<Record>> column(Record* r) {
  return {r ? r->data : nullptr, detail::readable(r, extent(r, 0))};
}
template <class Record>
std::span<const ElementOf<Record>> column(const Record* r) {
  return {r ? r->data : nullptr, detail::readable(r, extent(r, 0))};
}
// Positions 1 .. size[1] (a row walk of a 1 x n row).
template <class Record>
std::span<const ElementOf<Record>> row(const Record* r) {
  return {r ? r->data : nullptr, detail::readable(r, extent(r, 1))};
}
template <class Record>
std::span<ElementOf<Record>> row(Record* r) {
  return {r ? r->data : nullptr, detail::readable(r, extent(r, 1))};
}
// Every element in storage order.
template <class Record>
std::span<const ElementOf<Record>> elements(const Record* r) {
  return {r ? r->data : nullptr, detail::readable(r, element_count(r))};
}
template <class Record>
std::span<ElementOf<Record>> elements(Record* r) {
  return {r ? r->data : nullptr, detail::readable(r, element_count(r))};
}

// Grows storage to the product of the current extents (doubling from 16),
// keeping the first oldNumel elements. Throws std::bad_alloc when the count
// cannot be represented or allocated.
void ensure_capacity(emxArray__common* r, int32_t oldNumel, int32_t elementSize);

template <class Record>
void ensure_capacity(Record* r, int32_t oldNumel) {
  ensure_capacity(reinterpret_cast<emxArray__common*>(r), oldNumel,
                  static_cast<int32_t>(sizeof(ElementOf<Record>)));
}

// Sets the extents of an output record (as many as it has; missing ones are
// ignored, extra dimensions become 1) and grows its storage, keeping the old
// elements.
template <class Record>
void resize(Record* r, std::initializer_list<int32_t> extents) {
  const auto old = static_cast<int32_t>(element_count(r));
  int d = 0;
  for (int32_t e : extents) {
    if (d < r->numDimensions) r->size[d] = std::max<int32_t>(e, 0);
    ++d;
  }
  for (; d < r->numDimensions; ++d) r->size[d] = 1;
  ensure_capacity(r, old);
}

// Resizes an output record and copies values into it.
template <class Record, class T>
void assign(Record* r, std::initializer_list<int32_t> extents, std::span<const T> values) {
  resize(r, extents);
  auto out = elements(r);
  std::copy_n(values.begin(), std::min(out.size(), values.size()), out.begin());
}
template <class Record, class T>
void assign_column(Record* r, const std::vector<T>& v) {
  assign(r, {static_cast<int32_t>(v.size()), 1}, std::span<const T>(v));
}
template <class Record, class T>
void assign_row(Record* r, const std::vector<T>& v) {
  assign(r, {1, static_cast<int32_t>(v.size())}, std::span<const T>(v));
}

// A temporary record owned by RAII (freed on every path).
template <class Record>
struct RecordDeleter {
  void operator()(Record* r) const noexcept;
};
template <class Record>
using RecordPtr = std::unique_ptr<Record, RecordDeleter<Record>>;

// Makes an empty owned record of numDimensions extents.
template <class Record>
RecordPtr<Record> make_record(int32_t numDimensions);

// Runs body and turns any C++ exception into the fallback value, so no
// exception crosses an exported C function.
template <class R, class F>
R guarded(R fallback, F&& body) noexcept {
  try {
    return body();
  } catch (...) {
    return fallback;
  }
}
template <class F>
void guarded(F&& body) noexcept {
  try {
    body();
  } catch (...) {
  }
}

}  // namespace zyn
