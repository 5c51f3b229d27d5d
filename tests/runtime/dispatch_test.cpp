// The switch between processor-specific variants: every variant the
// processor runs can be forced, and kernels then run exactly that one.
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "runtime/dispatch.hpp"
#include "toolbox/reductions.hpp"

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

// Analyses on several threads dispatch at once, the first calls included
// (which choose the variant): every thread gets the same answer, and the
// ThreadSanitizer build sees no race in the choice.
TEST(Dispatch, ConcurrentFirstCallsAgree) {
  zyn::simd::use_variant(0);
  std::vector<double> x(5000);
  for (std::size_t i = 0; i < x.size(); ++i) x[i] = static_cast<double>((i * 7919) % 5000);
  std::vector<double> medians(4);
  std::vector<std::thread> threads;
  for (std::size_t t = 0; t < medians.size(); ++t) {
    threads.emplace_back([&x, &medians, t] {
      for (int k = 0; k < 20; ++k) medians[t] = zyn::median(x);
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (double m : medians) EXPECT_EQ(m, 2499.5);
}

}  // namespace
