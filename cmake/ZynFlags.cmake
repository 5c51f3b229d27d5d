# Private compile flags of every target of this project.
#
# Floating-point results must not depend on the optimiser: contraction into
# fused multiply-adds is off and no fast-math flag is ever used, so every
# operation order written in the code is the one executed (GCC 12's
# vectoriser still forms fused multiply-adds from some complex-product
# patterns in code for processors that have them: the no_fused_multiply_add
# test checks the built library). Nothing reads
# errno after a math call, so square roots need not set it and can run as
# (correctly rounded, hence identical) vector instructions. The loops written
# for vector lanes are vectorised at -O2 as well (GCC's -O2 otherwise only
# vectorises loops that need no remainder handling); vectorising never
# reorders a floating-point sum, so the results stay the same.
add_library(zyn_flags INTERFACE)
target_compile_options(zyn_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion
  -Wno-sign-conversion
  -ffp-contract=off -fno-fast-math -fno-math-errno -fvect-cost-model=dynamic)
if(ZYN_WARNINGS_AS_ERRORS)
  target_compile_options(zyn_flags INTERFACE -Werror)
endif()

# Processor-specific kernels are compiled once per instruction set by Google
# Highway and chosen at run time by its dynamic dispatch (runtime/dispatch.hpp).
# Compiled variants: the portable one-lane one, SSE4, AVX2 and AVX-512
# (SSSE3 and the AVX-512 extensions for small integers add nothing to these
# double-precision kernels but build time). The choice is public so that the
# tests enumerate the same variants as the library.
find_package(hwy 1.0 REQUIRED CONFIG)
add_library(zyn_simd INTERFACE)
target_link_libraries(zyn_simd INTERFACE hwy::hwy)
target_compile_definitions(zyn_simd INTERFACE "HWY_DISABLED_TARGETS=(HWY_SSSE3|HWY_AVX3_DL)")

# Sanitizers apply to everything that links zyn_sanitizers (all targets do,
# the library's own sources included). Highway chooses a variant on the
# first call, not when the library is loaded, so sanitizer builds run and
# test every variant.
add_library(zyn_sanitizers INTERFACE)
if(ZYN_SANITIZE)
  target_compile_options(zyn_sanitizers INTERFACE
    -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(zyn_sanitizers INTERFACE -fsanitize=address,undefined)
endif()
if(ZYN_TSAN)
  target_compile_options(zyn_sanitizers INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(zyn_sanitizers INTERFACE -fsanitize=thread)
endif()
