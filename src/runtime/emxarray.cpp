// Dynamic array records: creation, wrapping, growth (doubling from a floor of
// 16 elements) and release. Storage is allocated with calloc so that grown
// elements beyond the copied prefix are zero, and released with free, so C
// callers and the library agree on the allocator.
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "runtime/emx.hpp"

namespace zyn {
namespace {

constexpr int32_t kMinimumCapacityElements = 16;

template <class Record>
Record* new_empty_record(int32_t numDimensions) {
  auto* r = static_cast<Record*>(std::calloc(1, sizeof(Record)));
  if (r == nullptr) throw std::bad_alloc();
  const std::size_t dims = numDimensions > 0 ? static_cast<std::size_t>(numDimensions) : 0;
  r->size = static_cast<int32_t*>(std::calloc(dims > 0 ? dims : 1, sizeof(int32_t)));
  if (r->size == nullptr) {
    std::free(r);
    throw std::bad_alloc();
  }
  r->data = nullptr;
  r->numDimensions = numDimensions;
  r->allocatedSize = 0;
  r->canFreeData = 1;
  return r;
}

template <class Record>
void free_record(Record** pr) noexcept {
  if (pr == nullptr || *pr == nullptr) return;
  Record* r = *pr;
  if (r->canFreeData) std::free(r->data);
  std::free(r->size);
  std::free(r);
  *pr = nullptr;
}

// Product of n extents in 64 bits; -1 when it does not fit a signed 32-bit count.
int64_t checked_product(int32_t n, const int32_t* extents) {
  int64_t p = 1;
  for (int32_t d = 0; d < n; ++d) {
    if (extents[d] < 0) return -1;
    p *= extents[d];
    if (p > INT32_MAX) return -1;
  }
  return p;
}

template <class Record>
Record* create_nd(int32_t n, const int32_t* extents, ElementOf<Record>* borrowed) {
  if (n > 0 && extents == nullptr) return nullptr;
  const int64_t count = checked_product(n, extents);
  if (count < 0) return nullptr;
  Record* r = new_empty_record<Record>(n);
  for (int32_t d = 0; d < n; ++d) r->size[d] = extents[d];
  r->allocatedSize = static_cast<int32_t>(count);
  if (borrowed != nullptr) {
    r->data = borrowed;
    r->canFreeData = 0;
  } else {
    r->data = static_cast<ElementOf<Record>*>(
        std::calloc(count > 0 ? static_cast<std::size_t>(count) : 1, sizeof(ElementOf<Record>)));
    if (r->data == nullptr) {
      free_record(&r);
      throw std::bad_alloc();
    }
  }
  return r;
}

template <class Record>
Record* create_2d(int32_t rows, int32_t cols, ElementOf<Record>* borrowed) {
  const int32_t extents[2] = {rows, cols};
  return create_nd<Record>(2, extents, borrowed);
}

template <class Record>
void init_record(Record** out, int32_t numDimensions) {
  if (out == nullptr) return;
  *out = nullptr;
  *out = new_empty_record<Record>(numDimensions);
}

}  // namespace

void ensure_capacity(emxArray__common* r, int32_t oldNumel, int32_t elementSize) {
  if (r == nullptr || elementSize <= 0) return;
  int64_t newNumel = 1;
  for (int32_t d = 0; d < r->numDimensions; ++d) {
    // A negative extent is no size at all; two of them would multiply into
    // a large positive count and a huge allocation.
    if (r->size[d] < 0) throw std::length_error("negative extent");
    newNumel *= r->size[d];
    if (newNumel > INT32_MAX || newNumel < INT32_MIN) throw std::bad_alloc();
  }
  if (newNumel <= r->allocatedSize) return;

  // Doubling from 16, or from the previous capacity; computed in 64 bits and
  // capped at the largest signed 32-bit count.
  int64_t capacity = r->allocatedSize < kMinimumCapacityElements ? kMinimumCapacityElements
                                                                 : r->allocatedSize;
  while (capacity < newNumel) capacity *= 2;
  if (capacity > INT32_MAX) capacity = newNumel;

  void* fresh = std::calloc(static_cast<std::size_t>(capacity), static_cast<std::size_t>(elementSize));
  if (fresh == nullptr) throw std::bad_alloc();
  if (r->data != nullptr) {
    const int64_t keep = std::clamp<int64_t>(oldNumel, 0, std::max<int32_t>(r->allocatedSize, 0));
    std::memcpy(fresh, r->data, static_cast<std::size_t>(keep) * static_cast<std::size_t>(elementSize));
    if (r->canFreeData) std::free(r->data);
  }
  r->data = fresh;
  r->allocatedSize = static_cast<int32_t>(capacity);
  r->canFreeData = 1;
}

template <class Record>
void RecordDeleter<Record>::operator()(Record* r) const noexcept {
  free_record(&r);
}

template <class Record>
RecordPtr<Record> make_record(int32_t numDimensions) {
  return RecordPtr<Record>(new_empty_record<Record>(numDimensions));
}

template struct RecordDeleter<emxArray_real_T>;
template struct RecordDeleter<emxArray_int32_T>;
template struct RecordDeleter<emxArray_int16_T>;
template struct RecordDeleter<emxArray_boolean_T>;
template RecordPtr<emxArray_real_T> make_record<emxArray_real_T>(int32_t);
template RecordPtr<emxArray_int32_T> make_record<emxArray_int32_T>(int32_t);
template RecordPtr<emxArray_int16_T> make_record<emxArray_int16_T>(int32_t);
template RecordPtr<emxArray_boolean_T> make_record<emxArray_boolean_T>(int32_t);

}  // namespace zyn

using zyn::create_2d;
using zyn::create_nd;
using zyn::free_record;
using zyn::guarded;
using zyn::init_record;

extern "C" {

// A failed growth (negative extent, count beyond 32 bits or heap exhausted)
// leaves the record empty rather than pretending to hold the requested extents.
ZYN_API void m_emxEnsureCapacity(emxArray__common* emxArray, int32_T oldNumel, int32_T elementSize) {
  try {
    zyn::ensure_capacity(emxArray, oldNumel, elementSize);
  } catch (...) {
    for (int32_t d = 0; d < emxArray->numDimensions; ++d) emxArray->size[d] = 0;
  }
}

#define ZYN_DEFINE_INIT(name, Record) \
  ZYN_API void name(Record** p, int32_T n) { guarded([&] { init_record(p, n); }); }
ZYN_DEFINE_INIT(m_emxInit_real_T, emxArray_real_T)
ZYN_DEFINE_INIT(m_b_emxInit_real_T, emxArray_real_T)
ZYN_DEFINE_INIT(m_c_emxInit_real_T, emxArray_real_T)
ZYN_DEFINE_INIT(m_emxInit_int32_T, emxArray_int32_T)
ZYN_DEFINE_INIT(m_b_emxInit_int32_T, emxArray_int32_T)
ZYN_DEFINE_INIT(m_c_emxInit_int32_T, emxArray_int32_T)
ZYN_DEFINE_INIT(m_emxInit_int16_T, emxArray_int16_T)
ZYN_DEFINE_INIT(m_emxInit_boolean_T, emxArray_boolean_T)
ZYN_DEFINE_INIT(m_b_emxInit_boolean_T, emxArray_boolean_T)
#undef ZYN_DEFINE_INIT

ZYN_API void m_emxFree_real_T(emxArray_real_T** p) { free_record(p); }
ZYN_API void m_emxFree_int32_T(emxArray_int32_T** p) { free_record(p); }
ZYN_API void m_emxFree_int16_T(emxArray_int16_T** p) { free_record(p); }
ZYN_API void m_emxFree_boolean_T(emxArray_boolean_T** p) { free_record(p); }

#define ZYN_DEFINE_PUBLIC(suffix, Record, Elem)                                              \
  ZYN_API Record* emxCreate_##suffix(int32_T rows, int32_T cols) {                           \
    return guarded<Record*>(nullptr, [&] { return create_2d<Record>(rows, cols, nullptr); }); \
  }                                                                                          \
  ZYN_API Record* emxCreateND_##suffix(int32_T n, const int32_T* size) {                     \
    return guarded<Record*>(nullptr, [&] { return create_nd<Record>(n, size, nullptr); });    \
  }                                                                                          \
  ZYN_API Record* emxCreateWrapper_##suffix(Elem* data, int32_T rows, int32_T cols) {        \
    return guarded<Record*>(nullptr, [&] { return create_2d<Record>(rows, cols, data); });    \
  }                                                                                          \
  ZYN_API Record* emxCreateWrapperND_##suffix(Elem* data, int32_T n, const int32_T* size) {  \
    return guarded<Record*>(nullptr, [&] { return create_nd<Record>(n, size, data); });       \
  }                                                                                          \
  ZYN_API void emxDestroyArray_##suffix(Record* r) { free_record(&r); }
ZYN_DEFINE_PUBLIC(real_T, emxArray_real_T, real_T)
ZYN_DEFINE_PUBLIC(int32_T, emxArray_int32_T, int32_T)
ZYN_DEFINE_PUBLIC(int16_T, emxArray_int16_T, int16_T)
#undef ZYN_DEFINE_PUBLIC

}  // extern "C"
