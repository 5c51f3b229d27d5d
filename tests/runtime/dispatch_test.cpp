// The switch between processor-specific variants: every variant the
// processor runs can be forced, and kernels then run exactly that one.
#include <gtest/gtest.h>

#include "runtime/dispatch.hpp"

namespace {

TEST(Dispatch, EveryAvailableVariantCanBeForcedAndTheWidestIsTheDefault) {
  const std::vector<int64_t> variants = zyn::simd::available_variants();
  ASSERT_FALSE(variants.empty());
  if (std::getenv("ZYN_SIMD_VARIANT") == nullptr) {
    EXPECT_EQ(zyn::simd::variant_name(variants.back()), "SCALAR");  // the portable one is always there
  }
  for (int64_t variant : variants) {
    zyn::simd::use_variant(variant);
    EXPECT_EQ(zyn::simd::active_variant_name(), zyn::simd::variant_name(variant));
  }
  zyn::simd::use_variant(0);
  EXPECT_EQ(zyn::simd::active_variant_name(), zyn::simd::variant_name(variants.front()));
}

}  // namespace
