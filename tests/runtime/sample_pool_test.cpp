// Recording-length scratch arrays reused across analyses: a reused array must
// come back exactly as a new one would (or, when asked, merely of the right
// length), any thread may reuse what another returned, and the pool stays
// within its bound.
#include "runtime/sample_pool.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr std::size_t kTenMinutesAt200Hz = 120000;

bool all_zero(std::span<const double> x) {
  return std::all_of(x.begin(), x.end(), [](double v) { return v == 0.0; });
}

TEST(PooledSamples, ReusedArraysComeBackZeroedCopiedOrAsAsked) {
  const double* first = nullptr;
  {
    zyn::PooledSamples scratch(kTenMinutesAt200Hz);
    first = (*scratch).data();
    EXPECT_TRUE(all_zero(*scratch));
    std::fill((*scratch).begin(), (*scratch).end(), 7.5);  // what an analysis leaves behind
  }
  {
    zyn::PooledSamples again(kTenMinutesAt200Hz - 1);
    EXPECT_EQ((*again).data(), first);  // the same memory, not a fresh mapping
    EXPECT_EQ((*again).size(), kTenMinutesAt200Hz - 1);
    EXPECT_TRUE(all_zero(*again));
    const std::vector<double> source(kTenMinutesAt200Hz, 3.25);
    const zyn::PooledSamples copy(source);
    EXPECT_TRUE(std::equal((*copy).begin(), (*copy).end(), source.begin(), source.end()));
  }
  const zyn::PooledSamples overwritten(zyn::PooledSamples::Overwritten{kTenMinutesAt200Hz - 5});
  EXPECT_EQ((*overwritten).size(), kTenMinutesAt200Hz - 5);
  const zyn::PooledSamples longer(zyn::PooledSamples::Overwritten{4 * kTenMinutesAt200Hz});  // beyond any spare
  EXPECT_EQ((*longer).size(), 4 * kTenMinutesAt200Hz);
  const zyn::PooledSamples small(zyn::PooledSamples::Overwritten{100});
  EXPECT_EQ((*small).size(), 100u);
  const zyn::PooledSamples none(zyn::PooledSamples::Overwritten{0});
  EXPECT_TRUE((*none).empty());
}

// The pool is the process's, not a thread's: an array one thread returns is
// what the next thread gets; and whatever is returned at once, the pool keeps
// no more than its bound (the rest goes back to the system), and after such
// a burst one processor's share.
TEST(PooledSamples, OnePoolForAllThreadsWithinItsBound) {
  const double* returned = nullptr;
  std::thread([&returned] {
    zyn::PooledSamples scratch(zyn::PooledSamples::Overwritten{3 * kTenMinutesAt200Hz + 7});
    returned = (*scratch).data();
  }).join();
  const double* taken = nullptr;
  std::thread([&taken] {
    zyn::PooledSamples scratch(zyn::PooledSamples::Overwritten{3 * kTenMinutesAt200Hz + 7});
    taken = (*scratch).data();
  }).join();
  EXPECT_EQ(taken, returned);

  const std::size_t arrays = zyn::pool_limit_bytes() / (kTenMinutesAt200Hz * sizeof(double)) + 10;
  {
    std::vector<std::unique_ptr<zyn::PooledSamples>> many;  // more than the bound at once, returned together
    for (std::size_t i = 0; i < arrays; ++i) many.push_back(std::make_unique<zyn::PooledSamples>(kTenMinutesAt200Hz));
  }
  const std::size_t held = zyn::pooled_bytes();
  EXPECT_GT(held, 0u);
  EXPECT_LE(held, zyn::pool_limit_bytes());
  EXPECT_LE(held, std::size_t{12} << 20);
  { const zyn::PooledSamples small(100); }  // short arrays are left to the heap
  EXPECT_EQ(zyn::pooled_bytes(), held);
}

}  // namespace
