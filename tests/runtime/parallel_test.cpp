// The per-analysis helper thread: every item handled once, steps in order,
// failures surfacing in the caller, and the same behaviour without a thread.
#include "runtime/parallel.hpp"

#include <gtest/gtest.h>

#include <numeric>
#include <stdexcept>
#include <thread>
#include <vector>

namespace {

class HelperThreadBothWays : public ::testing::TestWithParam<bool> {};

TEST_P(HelperThreadBothWays, HalvesCoverEveryItemOnceAndStepsRunInOrder) {
  zyn::HelperThread helper(GetParam());
  for (const std::size_t count : {0u, 1u, 63u, 64u, 65u, 1001u}) {
    std::vector<int> hits(count, 0);
    helper.for_each_shared(count, 64, [&](std::size_t first, std::size_t past) {
      for (std::size_t i = first; i < past; ++i) ++hits[i];
    });
    EXPECT_EQ(std::accumulate(hits.begin(), hits.end(), 0), static_cast<int>(count));
    EXPECT_EQ(std::count(hits.begin(), hits.end(), 1), static_cast<long>(count));
  }
  std::vector<int> order;
  zyn::Pending<void> first = helper.start([&order] { order.push_back(1); });
  zyn::Pending<int> second = helper.start([&order] {
    order.push_back(2);
    return 42;
  });
  EXPECT_EQ(second.get(), 42);
  first.get();
  EXPECT_EQ(order, (std::vector<int>{1, 2}));
}

TEST_P(HelperThreadBothWays, FailuresOfEitherHalfReachTheCaller) {
  zyn::HelperThread helper(GetParam());
  const auto failing_at = [&helper](std::size_t bad) {
    helper.for_each_shared(100, 64, [bad](std::size_t first, std::size_t past) {
      if (first <= bad && bad < past) throw std::runtime_error("item failed");
    });
  };
  EXPECT_THROW(failing_at(10), std::runtime_error);
  EXPECT_THROW(failing_at(90), std::runtime_error);
  zyn::Pending<int> step = helper.start([]() -> int { throw std::length_error("step failed"); });
  EXPECT_THROW(step.get(), std::length_error);
}

INSTANTIATE_TEST_SUITE_P(WithAndWithoutThread, HelperThreadBothWays, ::testing::Bool());

// A caller leaving by an exception must not free data a queued step still
// reads: the pending result waits for its step when it goes out of scope.
TEST(HelperThread, AbandonedStepFinishesBeforeItsDataGoes) {
  zyn::HelperThread helper(true);
  double total = 0.0;
  try {
    const std::vector<double> data(1 << 16, 2.0);
    zyn::Pending<void> step = helper.start([&data, &total] {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      total = std::accumulate(data.begin(), data.end(), 0.0);
    });
    throw std::runtime_error("caller failed");
  } catch (const std::runtime_error&) {
  }
  EXPECT_EQ(total, 2.0 * (1 << 16));
}

}  // namespace
