// Fuzz target: creation, wrapping, growth and release of the public array
// records with odd extents (negative, zero, huge, products beyond 32 bits,
// zero or negative dimension counts).
//
// The input is a sequence of operations, each a u8 opcode followed by its
// operands. Creations whose element count is legal but would need more than
// kMaxBytes of memory are skipped: asking for 8 GB is the caller's business,
// and the fuzzer's memory limit would report it as a fault.
#include <cstdlib>
#include <vector>

#include "fuzz_input.hpp"
#include "runtime/emx.hpp"
#include "zynecgsolver/emxarray.h"

namespace {

constexpr int64_t kMaxBytes = int64_t{4} << 20;
constexpr int32_t kMaxDimensions = 8;

// True when a creation with these extents either fails cleanly (negative
// extent, count beyond 32 bits) or fits the memory bound.
bool affordable(int32_t n, const int32_t* extents, std::size_t elementSize) {
  int64_t count = 1;
  for (int32_t d = 0; d < n; ++d) {
    if (extents[d] < 0) return true;
    count *= extents[d];
    if (count > INT32_MAX) return true;
  }
  return count * static_cast<int64_t>(elementSize) <= kMaxBytes;
}

template <class Record>
void touch_all(Record* r) {
  if (r == nullptr) return;
  for (auto& v : zyn::elements(r)) v = v + 1;
  for (auto& v : zyn::column(r)) (void)v;
  for (auto& v : zyn::row(r)) (void)v;
}

// Grows a record to new extents the way the analysis code does (set size,
// then ensure capacity keeping the old elements).
template <class Record>
void grow(Record* r, zyn::fuzz::InputReader& in) {
  if (r == nullptr || r->numDimensions <= 0) return;
  const int64_t old = zyn::element_count(r);
  std::vector<int32_t> extents(static_cast<std::size_t>(r->numDimensions));
  for (auto& e : extents) e = in.take<int32_t>() % 4096;
  if (!affordable(r->numDimensions, extents.data(), sizeof(*r->data))) return;
  std::copy(extents.begin(), extents.end(), r->size);
  m_emxEnsureCapacity(reinterpret_cast<emxArray__common*>(r), static_cast<int32_t>(old),
                      static_cast<int32_t>(sizeof(*r->data)));
  touch_all(r);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  zyn::fuzz::InputReader in(data, size);
  std::vector<emxArray_real_T*> reals;
  std::vector<emxArray_int32_T*> ints;
  std::vector<emxArray_int16_T*> shorts;
  std::vector<double> borrowedReals(64, 1.0);
  std::vector<int32_t> borrowedInts(64, 1);
  std::vector<int16_t> borrowedShorts(64, 1);

  for (int step = 0; step < 64 && in.remaining() > 0; ++step) {
    const auto op = in.take<uint8_t>();
    const int32_t n = in.take<int8_t>() % (kMaxDimensions + 1);
    int32_t extents[kMaxDimensions] = {};
    const int32_t given = std::clamp(n, 0, kMaxDimensions);
    for (int32_t d = 0; d < given; ++d) extents[d] = in.take<int32_t>();
    switch (op % 10) {
      case 0:
        if (affordable(given, extents, sizeof(double))) reals.push_back(emxCreateND_real_T(n, extents));
        break;
      case 1:
        if (affordable(given, extents, sizeof(int32_t))) ints.push_back(emxCreateND_int32_T(n, extents));
        break;
      case 2:
        if (affordable(given, extents, sizeof(int16_t))) shorts.push_back(emxCreateND_int16_T(n, extents));
        break;
      case 3:
        if (affordable(2, extents, sizeof(double))) reals.push_back(emxCreate_real_T(extents[0], extents[1]));
        break;
      case 4:
        // Wrappers over 64 borrowed elements whose extents claim anything:
        // the library records the claim but must never free the storage.
        emxDestroyArray_real_T(emxCreateWrapperND_real_T(borrowedReals.data(), n, extents));
        emxDestroyArray_int32_T(emxCreateWrapper_int32_T(borrowedInts.data(), extents[0], extents[1]));
        emxDestroyArray_int16_T(emxCreateWrapperND_int16_T(borrowedShorts.data(), n, extents));
        break;
      case 5:
        if (!reals.empty()) grow(reals[in.take<uint8_t>() % reals.size()], in);
        break;
      case 6:
        if (!ints.empty()) grow(ints[in.take<uint8_t>() % ints.size()], in);
        break;
      case 7:
        if (!shorts.empty()) grow(shorts[in.take<uint8_t>() % shorts.size()], in);
        break;
      case 8: {
        // An empty record from the internal initialiser, grown from nothing.
        emxArray_real_T* r = nullptr;
        m_emxInit_real_T(&r, given);
        grow(r, in);
        m_emxFree_real_T(&r);
        break;
      }
      default:  // destroy one
        if (!reals.empty()) {
          const std::size_t i = in.take<uint8_t>() % reals.size();
          emxDestroyArray_real_T(reals[i]);
          reals.erase(reals.begin() + static_cast<std::ptrdiff_t>(i));
        }
    }
  }
  for (auto* r : reals) { touch_all(r); emxDestroyArray_real_T(r); }
  for (auto* r : ints) { touch_all(r); emxDestroyArray_int32_T(r); }
  for (auto* r : shorts) { touch_all(r); emxDestroyArray_int16_T(r); }
  return 0;
}
