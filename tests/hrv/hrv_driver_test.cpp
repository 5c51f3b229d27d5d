// HRV drivers end to end, and many analyses at once.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <thread>

#include "hrv/hrv.hpp"
#include "common/records.hpp"
#include "zynecgsolver/hrv.h"

namespace {

struct Beats {
  std::vector<int32_t> normal, extra;
};

// n beats at 200 Hz around 75 bpm with 0.25 Hz and 0.1 Hz modulation; every
// 40th beat (seeded offset) is premature, followed by a compensatory pause.
Beats synthetic_beats(std::size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::normal_distribution<double> noise(0.0, 0.01);
  Beats b;
  const std::size_t offset = rng() % 40;
  double t = 1.0;
  for (std::size_t k = 0; k < n; ++k) {
    const bool premature = k % 40 == offset;
    t += (premature ? 0.6 : 1.0) *
         (0.8 + 0.03 * std::sin(2 * M_PI * 0.25 * t) + 0.04 * std::sin(2 * M_PI * 0.1 * t) + noise(rng));
    (premature ? b.extra : b.normal).push_back(static_cast<int32_t>(std::lround(t * 200.0)));
    if (premature) t += 0.32;
  }
  return b;
}

struct Result {
  std::array<double, 7> time{};
  std::array<double, 6> freq{-1, -1, -1, -1, -1, -1};
  int32_t status = -1;
  bool operator==(const Result& o) const {  // bit for bit, NaN included
    return std::memcmp(time.data(), o.time.data(), sizeof time) == 0 &&
           std::memcmp(freq.data(), o.freq.data(), sizeof freq) == 0 && status == o.status;
  }
};

Result analyse(const Beats& b, int32_t nRR = -9) {
  Result r;
  zyn::hrv_with_extra_systoles(b.normal, b.extra, nRR == -9 ? static_cast<int32_t>(b.normal.size()) - 1 : nRR,
                               200, r.time, r.freq, r.status);
  return r;
}

TEST(HrvWithExtraSystoles, TenMinutesGiveAPlausibleRecordThroughTheCInterface) {
  const Beats b = synthetic_beats(700, 1);
  Result r;
  calcHrvExtra(zyn::testing::record(b.normal).get(), zyn::testing::record(b.extra).get(),
               static_cast<int32_T>(b.normal.size()) - 1, 200, r.time.data(), r.freq.data(), &r.status);
  EXPECT_TRUE(r == analyse(b));
  EXPECT_EQ(r.status, 0);
  EXPECT_NEAR(r.time[1], 0.8, 0.05);  // avnn (s)
  EXPECT_GT(r.time[0], 0.85);         // nn_rr
  EXPECT_GT(r.time[3], 0.0);          // sdann over two segments
  EXPECT_NEAR(r.freq[0], r.freq[1] + r.freq[2] + r.freq[3] + r.freq[4], 0.01 * r.freq[0]);
  EXPECT_GT(r.freq[3], 5 * r.freq[2]);  // the 0.1 Hz modulation
  EXPECT_GT(r.freq[4], 5 * r.freq[2]);  // the 0.25 Hz modulation
}

TEST(HrvWithExtraSystoles, FewNNIntervalsLeaveTheSpectrumAndCountsAreClamped) {
  const Beats b{{200, 400, 600, 800, 1000, 1200}, {}};
  const Result r = analyse(b);  // four NN intervals: no spectrum
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.freq, Result{}.freq);
  EXPECT_EQ(r.time[1], 1.0);
  EXPECT_EQ(analyse(b, 1000).time, r.time);
  EXPECT_EQ(analyse(b, -3).time[0], 0.0);
}

TEST(HrvAllNormal, MatchesTheSplitDriverAndReportsAMissingSpectrum) {
  Beats b = synthetic_beats(400, 2);
  b.extra.clear();
  Result r;
  calcHrv(b.normal.data(), static_cast<int32_T>(b.normal.size()) - 1, 200, r.time.data(), r.freq.data(),
          &r.status);
  EXPECT_EQ(r.status, 0);
  const Result split = analyse(b);
  for (std::size_t i = 0; i < 7; ++i) EXPECT_NEAR(r.time[i], split.time[i], 1e-12) << i;
  EXPECT_NEAR(r.freq[0], split.freq[0], 0.05 * split.freq[0]);  // the spectrum keeps interval 1
  const std::vector<int32_t> three{0, 200, 400};
  calcHrv(three.data(), 2, 200, r.time.data(), r.freq.data(), &r.status);
  EXPECT_EQ(r.status, 4);
}

TEST(HrvWithExtraSystoles, EightConcurrentAnalysesMatchTheSequentialResults) {
  constexpr std::size_t kThreads = 8;
  std::vector<Beats> inputs;
  std::vector<Result> sequential;
  for (std::size_t i = 0; i < kThreads; ++i) {
    inputs.push_back(synthetic_beats(500 + 60 * i, static_cast<unsigned>(100 + i)));
    sequential.push_back(analyse(inputs.back()));
  }
  std::vector<std::vector<Result>> concurrent(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 3; ++round) concurrent[i].push_back(analyse(inputs[i]));
    });
  }
  for (std::thread& t : threads) t.join();
  for (std::size_t i = 0; i < kThreads; ++i) {
    for (const Result& r : concurrent[i]) EXPECT_TRUE(r == sequential[i]) << "thread " << i;
  }
}

}  // namespace
