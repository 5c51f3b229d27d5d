// Vector-width dispatch for hot loops: the former mechanism, kept only
// until its last users (src/beats) become Highway kernels as
// runtime/dispatch.hpp describes; no new code uses it.
//
// Loops whose lanes are independent sums (one correlation, one window, one
// beat per lane) are compiled once per vector unit and the widest one the
// processor offers is chosen when the library is loaded. Every lane still
// performs the same IEEE additions and multiplications in the same order
// (the build never contracts them into fused multiply-adds), so each variant
// gives the same bits as the baseline one.
#pragma once

// Sanitizer builds compile one variant only: the loader runs the variant
// chooser before any sanitizer runtime is ready, and an instrumented chooser
// crashes there.
#if defined(__x86_64__) && defined(__ELF__) && !defined(ZYN_SINGLE_VARIANT)
#define ZYN_WIDEST_VECTORS __attribute__((target_clones("avx512f", "avx2", "default")))
// Set where a loop may also be written with AVX-512 instructions that no
// vectoriser emits (compressing stores), chosen at run time.
#define ZYN_AVX512_VARIANTS 1
#else
#define ZYN_WIDEST_VECTORS
#endif

#include <cstring>

namespace zyn {

#if defined(ZYN_AVX512_VARIANTS)
// True when the processor runs AVX-512 Foundation instructions.
inline bool processor_has_avx512() {
  static const bool has = __builtin_cpu_supports("avx512f");
  return has;
}
#endif

// Eight doubles worked on as one value: one register on AVX-512, two or four
// elsewhere. Lane-wise arithmetic is the scalar IEEE arithmetic in each lane.
using EightDoubles = double __attribute__((vector_size(8 * sizeof(double))));

inline void load_eight(const double* from, EightDoubles& to) { std::memcpy(&to, from, sizeof to); }

}  // namespace zyn
