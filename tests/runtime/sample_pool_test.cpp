// Recording-length scratch arrays reused across analyses: a reused array must
// come back exactly as a new one would (or, when asked, merely of the right
// length), and the pool must stay bounded.
#include "runtime/sample_pool.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr std::size_t kTenMinutesAt200Hz = 120000;

// A zeroed array reuses the spare an analysis left behind and clears it;
// arrays their user overwrites come back with the asked length, and reserved
// ones empty with the room asked for, both from the pool.
TEST(PooledSamples, ReusedArraysComeBackZeroedCopiedOrAsAsked) {
  const double* first = nullptr;
  {
    zyn::PooledSamples scratch(kTenMinutesAt200Hz);
    first = scratch->data();
    std::fill(scratch->begin(), scratch->end(), 7.5);  // what an analysis leaves behind
  }
  {
    zyn::PooledSamples again(kTenMinutesAt200Hz - 1);
    EXPECT_EQ(again->data(), first);  // the same memory, not a fresh allocation
    EXPECT_EQ(again->size(), kTenMinutesAt200Hz - 1);
    EXPECT_TRUE(std::all_of(again->begin(), again->end(), [](double v) { return v == 0.0; }));
    const std::vector<double> source(kTenMinutesAt200Hz, 3.25);
    EXPECT_EQ(*zyn::PooledSamples(source), source);
  }
  const std::size_t held = zyn::pooled_bytes_of_this_thread();
  {
    const zyn::PooledSamples overwritten(zyn::PooledSamples::Overwritten{kTenMinutesAt200Hz - 5});
    EXPECT_LT(zyn::pooled_bytes_of_this_thread(), held);
    EXPECT_EQ(overwritten->size(), kTenMinutesAt200Hz - 5);
    const zyn::PooledSamples longer(zyn::PooledSamples::Overwritten{4 * kTenMinutesAt200Hz});  // beyond any spare
    EXPECT_EQ(longer->size(), 4 * kTenMinutesAt200Hz);
  }
  const zyn::PooledSamples reserved(zyn::PooledSamples::Room{kTenMinutesAt200Hz});
  EXPECT_LT(zyn::pooled_bytes_of_this_thread(), held + 4 * kTenMinutesAt200Hz * sizeof(double));
  EXPECT_TRUE(reserved->empty());
  EXPECT_GE(reserved->capacity(), kTenMinutesAt200Hz);
}

TEST(PooledSamples, PoolStaysBoundedAndPerThread) {
  {
    std::vector<std::unique_ptr<zyn::PooledSamples>> many;  // 80 MB at once, returned together
    for (int i = 0; i < 80; ++i) many.push_back(std::make_unique<zyn::PooledSamples>(kTenMinutesAt200Hz));
  }
  const std::size_t held = zyn::pooled_bytes_of_this_thread();
  EXPECT_GT(held, 0u);
  EXPECT_LE(held, std::size_t{48} << 20);
  { const zyn::PooledSamples small(100); }  // short arrays are left to the heap
  EXPECT_EQ(zyn::pooled_bytes_of_this_thread(), held);
  std::size_t otherThread = 1;
  std::thread([&otherThread] { otherThread = zyn::pooled_bytes_of_this_thread(); }).join();
  EXPECT_EQ(otherThread, 0u);
}

}  // namespace
