// The library's version string, taken from the build's project version.
#include "zynecgsolver/version.h"

extern "C" ZYN_API const char* zyn_version(void) { return ZYN_VERSION_STRING; }
