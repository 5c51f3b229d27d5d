/* Symbol visibility and C linkage for the public surface of libzynecgsolver. */
#ifndef ZYNECGSOLVER_EXPORT_H
#define ZYNECGSOLVER_EXPORT_H

#if defined(ZYN_BUILDING_LIBRARY)
#define ZYN_API __attribute__((visibility("default")))
#else
#define ZYN_API
#endif

#ifdef __cplusplus
#define ZYN_EXTERN_C_BEGIN extern "C" {
#define ZYN_EXTERN_C_END }
#else
#define ZYN_EXTERN_C_BEGIN
#define ZYN_EXTERN_C_END
#endif

#endif
