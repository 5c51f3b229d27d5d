/* Creation, wrapping, growth and release of the dynamic array records.
 *
 * Records made by emxCreate* own zero-filled storage; records made by
 * emxCreateWrapper* borrow the caller's storage, which must outlive them and
 * is never freed by the library. Every record ends in exactly one
 * emxDestroyArray_* (or m_emxFree_*). Extents are signed 32-bit; arrays of more
 * than 2^30 elements are not supported and growth beyond INT32_MAX elements
 * fails by leaving the record empty. */
#ifndef ZYNECGSOLVER_EMXARRAY_H
#define ZYNECGSOLVER_EMXARRAY_H

#include "zynecgsolver/export.h"
#include "zynecgsolver/types.h"

ZYN_EXTERN_C_BEGIN

/* Public creation interface ------------------------------------------------ */

/* New rows x cols array owning zero-filled storage. */
ZYN_API emxArray_real_T *emxCreate_real_T(int32_T rows, int32_T cols);
ZYN_API emxArray_int32_T *emxCreate_int32_T(int32_T rows, int32_T cols);
ZYN_API emxArray_int16_T *emxCreate_int16_T(int32_T rows, int32_T cols);

/* New N-D array owning zero-filled storage; extents copied from size[0..numDimensions-1]. */
ZYN_API emxArray_real_T *emxCreateND_real_T(int32_T numDimensions, const int32_T *size);
ZYN_API emxArray_int32_T *emxCreateND_int32_T(int32_T numDimensions, const int32_T *size);
ZYN_API emxArray_int16_T *emxCreateND_int16_T(int32_T numDimensions, const int32_T *size);

/* New rows x cols record borrowing data (no copy; canFreeData false). */
ZYN_API emxArray_real_T *emxCreateWrapper_real_T(real_T *data, int32_T rows, int32_T cols);
ZYN_API emxArray_int32_T *emxCreateWrapper_int32_T(int32_T *data, int32_T rows, int32_T cols);
ZYN_API emxArray_int16_T *emxCreateWrapper_int16_T(int16_T *data, int32_T rows, int32_T cols);

/* New N-D record borrowing data. */
ZYN_API emxArray_real_T *emxCreateWrapperND_real_T(real_T *data, int32_T numDimensions,
                                                   const int32_T *size);
ZYN_API emxArray_int32_T *emxCreateWrapperND_int32_T(int32_T *data, int32_T numDimensions,
                                                     const int32_T *size);
ZYN_API emxArray_int16_T *emxCreateWrapperND_int16_T(int16_T *data, int32_T numDimensions,
                                                     const int32_T *size);

/* Frees a record (and its storage when owned); null is a no-op. */
ZYN_API void emxDestroyArray_real_T(emxArray_real_T *emxArray);
ZYN_API void emxDestroyArray_int32_T(emxArray_int32_T *emxArray);
ZYN_API void emxDestroyArray_int16_T(emxArray_int16_T *emxArray);

/* Internal lifecycle used by the analysis code ------------------------------ */

/* Makes an empty record (all extents 0, no storage) and stores it in *pEmxArray. */
ZYN_API void m_emxInit_real_T(emxArray_real_T **pEmxArray, int32_T numDimensions);
ZYN_API void m_b_emxInit_real_T(emxArray_real_T **pEmxArray, int32_T numDimensions);
ZYN_API void m_c_emxInit_real_T(emxArray_real_T **pEmxArray, int32_T numDimensions);
ZYN_API void m_emxInit_int32_T(emxArray_int32_T **pEmxArray, int32_T numDimensions);
ZYN_API void m_b_emxInit_int32_T(emxArray_int32_T **pEmxArray, int32_T numDimensions);
ZYN_API void m_c_emxInit_int32_T(emxArray_int32_T **pEmxArray, int32_T numDimensions);
ZYN_API void m_emxInit_int16_T(emxArray_int16_T **pEmxArray, int32_T numDimensions);
ZYN_API void m_emxInit_boolean_T(emxArray_boolean_T **pEmxArray, int32_T numDimensions);
ZYN_API void m_b_emxInit_boolean_T(emxArray_boolean_T **pEmxArray, int32_T numDimensions);

/* Grows storage to hold the product of the current extents, keeping the first
 * oldNumel elements: capacity starts at 16 and doubles; it never shrinks. */
ZYN_API void m_emxEnsureCapacity(emxArray__common *emxArray, int32_T oldNumel,
                                 int32_T elementSize);

/* Frees *pEmxArray (storage only when owned) and sets it to null; null is a no-op. */
ZYN_API void m_emxFree_real_T(emxArray_real_T **pEmxArray);
ZYN_API void m_emxFree_int32_T(emxArray_int32_T **pEmxArray);
ZYN_API void m_emxFree_int16_T(emxArray_int16_T **pEmxArray);
ZYN_API void m_emxFree_boolean_T(emxArray_boolean_T **pEmxArray);

ZYN_EXTERN_C_END

#endif
