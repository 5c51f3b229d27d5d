/* A C program of a library user: built against the installed headers and
 * library only, it checks the version and one heart rate. */
#include <stdio.h>
#include <string.h>

#include <zynecgsolver/zynecgsolver.h>

int main(void) {
  int32_T peaks[4] = {1, 201, 401, 601}; /* one beat a second at 200 Hz */
  emxArray_int32_T *wrapped = emxCreateWrapper_int32_T(peaks, 4, 1);
  calcHRvar_initialize();
  const double bpm = calcHRvar(wrapped, 4, 200);
  emxDestroyArray_int32_T(wrapped);
  printf("zynecgsolver %s (headers %s): %.0f bpm\n", zyn_version(), ZYN_VERSION_STRING, bpm);
  return strcmp(zyn_version(), ZYN_VERSION_STRING) == 0 && bpm == 60.0 ? 0 : 1;
}
