// Capacity growth, ownership of wrappers and release of the array records.
#include <gtest/gtest.h>

#include "runtime/emx.hpp"
#include "zynecgsolver/emxarray.h"

namespace {

struct RealArray {
  emxArray_real_T* r = nullptr;
  explicit RealArray(int32_T dims) { m_emxInit_real_T(&r, dims); }
  ~RealArray() { m_emxFree_real_T(&r); }
  void grow_to(int32_T rows, int32_T cols) {
    const int32_T old = r->size[0] * r->size[1];
    r->size[0] = rows;
    r->size[1] = cols;
    m_emxEnsureCapacity(reinterpret_cast<emxArray__common*>(r), old, sizeof(double));
  }
};

// Capacity doubles from 16, or from the capacity a record already has; a
// count that fits keeps the storage and its values, and growth copies the
// caller's old count of elements and zeroes the rest.
TEST(EmxCapacity, DoublesFromSixteenOrThePreviousCapacityKeepingThePrefix) {
  RealArray a(2);
  EXPECT_TRUE(a.r->data == nullptr && a.r->allocatedSize == 0 && a.r->size[0] == 0 && a.r->canFreeData);
  a.grow_to(0, 0);
  EXPECT_EQ(a.r->data, nullptr);
  a.grow_to(3, 1);
  EXPECT_EQ(a.r->allocatedSize, 16);
  for (int i = 0; i < 3; ++i) a.r->data[i] = i + 1.0;
  const double* before = a.r->data;
  a.grow_to(1, 1);
  a.grow_to(16, 1);
  EXPECT_EQ(a.r->data, before);
  EXPECT_EQ(a.r->allocatedSize, 16);
  a.grow_to(3, 1);
  a.grow_to(17, 1);  // the caller passes the old count: 3 elements kept
  EXPECT_EQ(a.r->allocatedSize, 32);
  for (int i = 0; i < 17; ++i) EXPECT_EQ(a.r->data[i], i < 3 ? i + 1.0 : 0.0) << i;
  a.grow_to(100, 1);
  EXPECT_EQ(a.r->allocatedSize, 128);
  emxArray_real_T* c = emxCreate_real_T(20, 1);
  ASSERT_EQ(c->allocatedSize, 20);
  c->size[0] = 21;
  m_emxEnsureCapacity(reinterpret_cast<emxArray__common*>(c), 20, sizeof(double));
  EXPECT_EQ(c->allocatedSize, 40);
  emxDestroyArray_real_T(c);
}

// Found by fuzzing: two negative extents multiplied into 2^28 elements and a
// 2 GB allocation. Any negative extent, or a count beyond 32 bits, now leaves
// the record empty without allocating.
TEST(EmxCapacity, NegativeOrHugeExtentsLeaveTheRecordEmpty) {
  for (const auto& [rows, cols] : {std::pair(65536, 65536), std::pair(-65536, -4096), std::pair(-1, 5)}) {
    RealArray a(2);
    a.grow_to(3, 1);
    a.grow_to(rows, cols);
    EXPECT_EQ(std::pair(a.r->size[0], a.r->size[1]), std::pair(0, 0)) << rows;
    EXPECT_EQ(zyn::elements(a.r).size(), 0u);
    EXPECT_EQ(a.r->allocatedSize, 16);
  }
}

TEST(EmxOwnership, WrapperBorrowsClampsReadsUntilGrowthThenOwnsACopy) {
  double caller[4] = {1, 2, 3, 4};
  emxArray_real_T* w = emxCreateWrapper_real_T(caller, 4, 1);
  EXPECT_TRUE(w->data == caller && !w->canFreeData && w->allocatedSize == 4);
  w->size[0] = 1000;  // an inconsistent record from a careless host: reads stay within capacity
  EXPECT_EQ(zyn::column(w).size(), 4u);
  w->size[0] = -4;
  EXPECT_EQ(zyn::column(w).size(), 0u);
  w->size[0] = 5;
  m_emxEnsureCapacity(reinterpret_cast<emxArray__common*>(w), 4, sizeof(double));
  EXPECT_TRUE(w->data != caller && w->canFreeData);
  EXPECT_EQ(std::pair(w->data[3], w->data[4]), std::pair(4.0, 0.0));
  EXPECT_EQ(caller[3], 4.0);
  emxDestroyArray_real_T(w);  // frees the owned copy, never the caller's buffer
}

TEST(EmxOwnership, NdCreationAndFree) {
  const int32_T ext[3] = {2, 0, 5}, negative[2] = {-1, 3};
  emxArray_int16_T* e = emxCreateND_int16_T(3, ext);
  ASSERT_NE(e, nullptr);
  EXPECT_EQ(e->allocatedSize, 0);
  EXPECT_EQ(zyn::element_count(e), 0);
  emxDestroyArray_int16_T(e);
  EXPECT_EQ(emxCreateND_real_T(2, nullptr), nullptr);
  EXPECT_EQ(emxCreateND_real_T(2, negative), nullptr);
  emxArray_boolean_T* b = nullptr;
  m_emxFree_boolean_T(&b);  // null is a no-op
}

}  // namespace
