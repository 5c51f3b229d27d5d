// Speed of the full HRV analysis (labelled series, time-domain statistics,
// Lomb spectrum, band powers) on a 10-minute and a 24-hour beat list at
// 200 Hz, with the process's peak resident memory after the runs.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

#include "hrv/hrv.hpp"

namespace {

constexpr int32_t kSamplingRateHz = 200;

struct Beats {
  std::vector<int32_t> normal;
  std::vector<int32_t> extra;
};

// Beats around 70 bpm with respiratory and slow modulation and noise; one
// premature extra systole (with compensatory pause) per 50 beats.
Beats synthetic_beats(double durationSeconds) {
  std::mt19937 rng(2024);
  std::normal_distribution<double> noise(0.0, 0.015);
  Beats b;
  double t = 1.0;
  for (std::size_t k = 0; t < durationSeconds; ++k) {
    double rr = 0.86 + 0.03 * std::sin(2.0 * M_PI * 0.25 * t) +
                0.05 * std::sin(2.0 * M_PI * 0.08 * t) + noise(rng);
    const bool premature = k % 50 == 17;
    if (premature) rr *= 0.6;
    t += rr;
    const auto position = static_cast<int32_t>(std::lround(t * kSamplingRateHz));
    (premature ? b.extra : b.normal).push_back(position);
    if (premature) t += 0.35;
  }
  return b;
}

double peak_rss_megabytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;  // ru_maxrss is in KiB
}

void run_hrv(benchmark::State& state, double durationSeconds) {
  const Beats b = synthetic_beats(durationSeconds);
  std::array<double, 7> time{};
  std::array<double, 6> freq{};
  int32_t status = 0;
  for (auto _ : state) {
    zyn::hrv_with_extra_systoles(b.normal, b.extra, static_cast<int32_t>(b.normal.size()) - 1,
                                 kSamplingRateHz, time, freq, status);
    benchmark::DoNotOptimize(time.data());
    benchmark::DoNotOptimize(freq.data());
  }
  state.counters["beats"] = static_cast<double>(b.normal.size() + b.extra.size());
  state.counters["peak_rss_MB"] = peak_rss_megabytes();
}

void BM_HrvExtra_10min(benchmark::State& state) { run_hrv(state, 600.0); }
void BM_HrvExtra_24h(benchmark::State& state) { run_hrv(state, 86400.0); }

BENCHMARK(BM_HrvExtra_10min)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_HrvExtra_24h)->Unit(benchmark::kMillisecond);

}  // namespace
