// Timing of the toolbox routines that run over a whole recording: the median
// and the moving-average smoother with a 3 s span (600 samples at 200 Hz) on
// 10 minutes of a seeded, ECG-like signal (120,000 samples).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

#include "runtime/emx.hpp"
#include "zynecgsolver/toolbox_reductions.h"
#include "zynecgsolver/toolbox_stats.h"

namespace {

constexpr double kSamplingRateHz = 200.0;
constexpr std::size_t kSignalSamples = 120000;
constexpr double kSmoothingSpanSamples = 600.0;

// Beats every 0.8 s on a wandering baseline, in millivolts, with noise.
std::vector<double> ecg_like_signal() {
  std::mt19937_64 rng(42);
  std::normal_distribution<double> noise(0.0, 0.03);
  std::vector<double> x(kSignalSamples);
  for (std::size_t i = 0; i < x.size(); ++i) {
    const double t = static_cast<double>(i) / kSamplingRateHz;
    const double phase = std::fmod(t, 0.8) - 0.4;
    x[i] = 1.2 * std::exp(-phase * phase / 2e-4) + 0.3 * std::sin(2.0 * std::numbers::pi * 0.2 * t) + noise(rng);
  }
  return x;
}

zyn::RecordPtr<emxArray_real_T> column_record(const std::vector<double>& x) {
  auto r = zyn::make_record<emxArray_real_T>(2);
  zyn::assign_column(r.get(), x);
  return r;
}

void BM_median(benchmark::State& state) {
  const auto x = column_record(ecg_like_signal());
  for (auto _ : state) benchmark::DoNotOptimize(m_median(x.get()));
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kSignalSamples));
}
BENCHMARK(BM_median)->Unit(benchmark::kMicrosecond);

void BM_smooth_span600(benchmark::State& state) {
  const std::vector<double> signal = ecg_like_signal();
  auto x = column_record(signal);
  for (auto _ : state) {
    state.PauseTiming();
    std::copy(signal.begin(), signal.end(), x->data);
    state.ResumeTiming();
    m_refp1_smooth_emlc(x.get(), kSmoothingSpanSamples);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kSignalSamples));
}
BENCHMARK(BM_smooth_span600)->Unit(benchmark::kMicrosecond);

}  // namespace
