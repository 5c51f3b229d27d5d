/* Element types and the dynamic array records shared by every routine.
 *
 * An array record holds column-major elements with 1-based logical indices:
 * element (i, j) of a 2-D array is data[(i-1) + (j-1)*size[0]]. The element
 * count is the product of the extents. canFreeData is false for a record that
 * borrows the caller's storage (a wrapper). */
#ifndef ZYNECGSOLVER_TYPES_H
#define ZYNECGSOLVER_TYPES_H

#include <stdint.h>

typedef double real_T;
typedef float real32_T;
typedef int32_t int32_T;
typedef int16_t int16_T;
typedef unsigned char boolean_T;

typedef struct emxArray_real_T {
  real_T *data;
  int32_T *size;
  int32_T allocatedSize;
  int32_T numDimensions;
  boolean_T canFreeData;
} emxArray_real_T;

typedef struct emxArray_int32_T {
  int32_T *data;
  int32_T *size;
  int32_T allocatedSize;
  int32_T numDimensions;
  boolean_T canFreeData;
} emxArray_int32_T;

typedef struct emxArray_int16_T {
  int16_T *data;
  int32_T *size;
  int32_T allocatedSize;
  int32_T numDimensions;
  boolean_T canFreeData;
} emxArray_int16_T;

typedef struct emxArray_boolean_T {
  boolean_T *data;
  int32_T *size;
  int32_T allocatedSize;
  int32_T numDimensions;
  boolean_T canFreeData;
} emxArray_boolean_T;

/* The layout every record shares, used by the element-size-agnostic growth routine. */
typedef struct emxArray__common {
  void *data;
  int32_T *size;
  int32_T allocatedSize;
  int32_T numDimensions;
  boolean_T canFreeData;
} emxArray__common;

#endif
