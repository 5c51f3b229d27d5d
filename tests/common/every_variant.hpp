// Runs a kernel test once per processor-specific variant compiled into the
// library that this processor runs (the portable one included), each as its
// own named test case:
//
//   ZYN_TEST_ON_EVERY_VARIANT(MedianKernels);
//   TEST_P(MedianKernels, AgreeWithTheDefinition) { ... }
//
// gives MedianKernels/Variant.AgreeWithTheDefinition/AVX2, .../SCALAR, ...
// Within the test every kernel call runs that variant.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "runtime/dispatch.hpp"

namespace zyn::test {

class EveryVariant : public testing::TestWithParam<int64_t> {
 protected:
  void SetUp() override { zyn::simd::use_variant(GetParam()); }
  void TearDown() override { zyn::simd::use_variant(0); }
};

inline std::string variant_test_name(const testing::TestParamInfo<int64_t>& info) {
  return zyn::simd::variant_name(info.param);
}

}  // namespace zyn::test

#define ZYN_TEST_ON_EVERY_VARIANT(Suite)                                                        \
  class Suite : public ::zyn::test::EveryVariant {};                                            \
  INSTANTIATE_TEST_SUITE_P(Variant, Suite, ::testing::ValuesIn(::zyn::simd::available_variants()), \
                           ::zyn::test::variant_test_name)
