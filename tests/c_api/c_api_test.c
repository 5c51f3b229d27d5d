/* Compiled as C: the public headers must serve C users unchanged. */
#include <math.h>
#include <stdio.h>
#include <string.h>

#include "zynecgsolver/zynecgsolver.h"

static int failures = 0;
#define CHECK(cond) \
  ((cond) ? (void)0 : (void)(fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #cond), ++failures))

int main(void) {
  rt_InitInfAndNaN(8);
  CHECK(isinf(rtInf) && rtInf > 0);
  CHECK(rtIsInf(rtNaN) && !rtIsNaN(rtNaN));

  double samples[6] = {1.0, 2.0, 3.0, 4.0, 5.0, 6.0};
  emxArray_real_T *wrapped = emxCreateWrapper_real_T(samples, 6, 1);
  CHECK(wrapped != NULL && wrapped->canFreeData == 0 && wrapped->data == samples);
  emxDestroyArray_real_T(wrapped);

  int32_T extents[3] = {2, 3, 4};
  emxArray_int32_T *cube = emxCreateND_int32_T(3, extents);
  CHECK(cube != NULL && cube->allocatedSize == 24 && cube->data[23] == 0);
  emxDestroyArray_int32_T(cube);

  double x = 2.5;
  m_refp1_round(&x);
  CHECK(x == 3.0);
  CHECK(m_eps(1.0) == ldexp(1.0, -52));
  CHECK(strcmp(zyn_version(), ZYN_VERSION_STRING) == 0);
  if (failures == 0) printf("c_api: all checks passed\n");
  return failures == 0 ? 0 : 1;
}
