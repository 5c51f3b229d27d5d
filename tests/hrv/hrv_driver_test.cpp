// HRV drivers end to end, and many analyses at once.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <thread>

#include "hrv/hrv.hpp"
#include "hrv_test_support.hpp"
#include "zynecgsolver/hrv.h"

namespace {
using hrvtest::IntColumn;

struct Beats {
  std::vector<int32_t> normal;
  std::vector<int32_t> extra;
};

// n beats at 200 Hz around 75 bpm with respiratory (0.25 Hz) and slower
// (0.1 Hz) modulation; every 40th beat (seeded offset) is a premature extra
// systole followed by a compensatory pause.
Beats synthetic_beats(std::size_t n, unsigned seed) {
  std::mt19937 rng(seed);
  std::normal_distribution<double> noise(0.0, 0.01);
  Beats b;
  double t = 1.0;
  const std::size_t offset = rng() % 40;
  for (std::size_t k = 0; k < n; ++k) {
    double rr = 0.8 + 0.03 * std::sin(2.0 * M_PI * 0.25 * t) + 0.04 * std::sin(2.0 * M_PI * 0.1 * t) +
                noise(rng);
    const bool premature = k % 40 == offset;
    if (premature) rr *= 0.6;
    t += rr;
    const auto position = static_cast<int32_t>(std::lround(t * 200.0));
    (premature ? b.extra : b.normal).push_back(position);
    if (premature) t += 0.4 * 0.8;  // compensatory pause
  }
  return b;
}

struct Result {
  std::array<double, 7> time;
  std::array<double, 6> freq;
  int32_t status;
  bool operator==(const Result& o) const {
    return std::memcmp(time.data(), o.time.data(), sizeof time) == 0 &&
           std::memcmp(freq.data(), o.freq.data(), sizeof freq) == 0 && status == o.status;
  }
};

Result analyse(const Beats& b) {
  Result r{};
  r.freq.fill(-1.0);
  r.status = -1;
  zyn::hrv_with_extra_systoles(b.normal, b.extra, static_cast<int32_t>(b.normal.size()) - 1, 200,
                               r.time, r.freq, r.status);
  return r;
}

TEST(HrvWithExtraSystoles, TenMinutesGiveAPlausibleRecord) {
  const Beats b = synthetic_beats(700, 1);
  IntColumn normal(b.normal);
  IntColumn extra(b.extra);
  Result r{};
  r.status = -1;
  calcHrvExtra(normal.get(), extra.get(), static_cast<int32_T>(b.normal.size()) - 1, 200,
               r.time.data(), r.freq.data(), &r.status);
  EXPECT_TRUE(r == analyse(b));
  EXPECT_EQ(r.status, 0);
  EXPECT_NEAR(r.time[1], 0.8, 0.05);              // avnn (s)
  EXPECT_GT(r.time[0], 0.85);                     // nn_rr
  EXPECT_GT(r.time[3], 0.0);                      // sdann over two segments
  EXPECT_GT(r.time[4], 0.0);                      // sdnnidx
  EXPECT_NEAR(r.freq[0], r.freq[1] + r.freq[2] + r.freq[3] + r.freq[4], 0.1 * r.freq[0]);
  EXPECT_GT(r.freq[3], r.freq[2]);  // the 0.1 Hz modulation dominates VLF
  EXPECT_GT(r.freq[4], r.freq[2]);  // the 0.25 Hz modulation too
  EXPECT_EQ(r.freq[5], r.freq[3] / r.freq[4]);
  // Heart rates of the same beats.
  EXPECT_NEAR(m_calcHRsys(normal.get(), static_cast<int32_T>(b.normal.size()), extra.get(),
                          static_cast<int32_T>(b.extra.size()), 200),
              75.0, 3.0);
  EXPECT_NEAR(calcHRvar(normal.get(), static_cast<int32_T>(b.normal.size()), 200), 75.0, 5.0);
}

TEST(HrvWithExtraSystoles, FewNNIntervalsLeaveTheFrequencyRecordUntouched) {
  const Beats b{{200, 400, 600, 800, 1000, 1200}, {}};
  const Result r = analyse(b);  // NN series of four intervals
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.freq, (std::array<double, 6>{-1, -1, -1, -1, -1, -1}));
  EXPECT_EQ(r.time[1], 1.0);
  // nRR beyond the series is clamped; negative means no interval.
  Result big{};
  zyn::hrv_with_extra_systoles(b.normal, b.extra, 1000, 200, big.time, big.freq, big.status);
  EXPECT_EQ(big.time, r.time);
  Result none{};
  zyn::hrv_with_extra_systoles(b.normal, b.extra, -3, 200, none.time, none.freq, none.status);
  EXPECT_EQ(none.time[0], 0.0);
}

TEST(HrvAllNormal, MatchesTheSplitDriverWithoutExtraSystoles) {
  Beats b = synthetic_beats(400, 2);
  b.extra.clear();
  std::array<double, 7> time{};
  std::array<double, 6> freq{};
  int32_T status = -1;
  calcHrv(b.normal.data(), static_cast<int32_T>(b.normal.size()) - 1, 200, time.data(), freq.data(),
          &status);
  EXPECT_EQ(status, 0);
  const Result split = analyse(b);
  // Same intervals and flags; only the spectrum differs (it keeps interval 1).
  for (std::size_t i = 0; i < 7; ++i) EXPECT_NEAR(time[i], split.time[i], 1e-12) << i;
  EXPECT_NEAR(freq[0], split.freq[0], 0.05 * split.freq[0]);
  // Too few beats for a spectrum: status 4, no exit.
  const std::vector<int32_t> three{0, 200, 400};
  calcHrv(three.data(), 2, 200, time.data(), freq.data(), &status);
  EXPECT_EQ(status, 4);
}

TEST(HrvWithExtraSystoles, EightConcurrentAnalysesMatchTheSequentialResults) {
  constexpr std::size_t kThreads = 8;
  std::vector<Beats> inputs;
  std::vector<Result> sequential;
  for (std::size_t i = 0; i < kThreads; ++i) {
    inputs.push_back(synthetic_beats(500 + 60 * i, static_cast<unsigned>(100 + i)));
    sequential.push_back(analyse(inputs.back()));
  }
  constexpr int kRounds = 3;
  std::vector<std::vector<Result>> concurrent(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < kRounds; ++round) concurrent[i].push_back(analyse(inputs[i]));
    });
  }
  for (std::thread& t : threads) t.join();
  for (std::size_t i = 0; i < kThreads; ++i) {
    for (const Result& r : concurrent[i]) EXPECT_TRUE(r == sequential[i]) << "thread " << i;
  }
}

}  // namespace
