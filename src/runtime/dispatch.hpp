// Processor-specific kernels: the one way this library chooses them.
//
// Every kernel that is written for vector lanes is compiled once per
// instruction set by Google Highway (a portable one-lane variant, SSE4,
// AVX2 and AVX-512) and called through Highway's dynamic dispatch, which
// picks the widest variant the processor runs on the first call (no loader
// tricks, so sanitizer builds run and test every variant too).
//
// Contract of a kernel, bit-identical on every variant:
//   - each lane performs the IEEE operations of the plain definition in the
//     same order: Mul then Add/Sub (the build never contracts them; never
//     use MulAdd, NegMulAdd or other fused operations), no lane-crossing
//     floating-point reductions (ReduceSum reorders a sum; sum lanes that
//     are independent sums, or reduce integers and comparisons only);
//   - it touches only the elements its span arguments name (a partial last
//     vector is finished by the plain loop).
//
// How to add a kernel:
//   1. Write it in `<area>/<name>_kernels.cpp`, which starts with
//        #undef HWY_TARGET_INCLUDE
//        #define HWY_TARGET_INCLUDE "<area>/<name>_kernels.cpp"
//        #include <hwy/foreach_target.h>
//        #include <hwy/highway.h>
//      and puts the kernel inside
//        HWY_BEFORE_NAMESPACE(); namespace zyn::HWY_NAMESPACE { ... }
//        HWY_AFTER_NAMESPACE();
//      (the file is compiled once per variant through these includes).
//   2. Below `#if HWY_ONCE`, write `HWY_EXPORT(Kernel);` and the plain C++
//      entry declared in the area's header, whose body is
//      `return HWY_DYNAMIC_DISPATCH(Kernel)(args...);`.
//   3. Keep the plain definition beside it and test the entry against it on
//      every variant: `TEST_P` in a suite declared with
//      ZYN_TEST_ON_EVERY_VARIANT (tests/common/every_variant.hpp).
//
// Forcing a variant: the environment variable ZYN_SIMD_VARIANT (SCALAR,
// SSE4, AVX2, AVX3), read once when the library is loaded, restricts every
// kernel to that variant (or the portable one when the processor lacks it);
// tests switch with use_variant().
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zyn::simd {

// Bytes of the widest vector of any compiled variant (AVX-512): the room a
// whole-vector store may need past the last element it keeps.
inline constexpr std::size_t kWidestVectorBytes = 64;

// Highway's target bits of the variants compiled into the library that this
// processor runs (and the environment allows), widest first.
std::vector<int64_t> available_variants();

// Every later kernel call runs `variant` (a bit from available_variants());
// 0 returns to the widest available. Not for concurrent use with kernels on
// other threads (tests only).
void use_variant(int64_t variant);

// Name of a variant ("AVX2", ...), and of the one kernels run now.
std::string variant_name(int64_t variant);
std::string active_variant_name();

}  // namespace zyn::simd
