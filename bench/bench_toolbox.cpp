// Timing of the toolbox routines that run over a whole recording, on 10
// minutes of a seeded, ECG-like signal (120,000 samples at 200 Hz): the
// median, the running-sum smoother with a 3 s span (600 samples), the direct
// smoother over 9-sample windows, and the correlation of a 0.16 s template
// (33 samples) with every window. The lane kernels run the widest variant the
// processor offers; ZYN_SIMD_VARIANT=SSE4 (AVX2, SCALAR, ...) times another.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <span>
#include <random>
#include <vector>

#include "runtime/emx.hpp"
#include "toolbox/stats.hpp"
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

void BM_smooth_directly_half4(benchmark::State& state) {
  const std::vector<double> signal = ecg_like_signal();
  std::vector<double> out(signal.size());
  for (auto _ : state) {
    zyn::smooth_directly(signal, out, 4);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(kSignalSamples));
}
BENCHMARK(BM_smooth_directly_half4)->Unit(benchmark::kMicrosecond);

void BM_window_correlations_33(benchmark::State& state) {
  constexpr std::size_t kTemplateSamples = 33;
  const std::vector<double> signal = ecg_like_signal();
  const zyn::CentredSeries beat = zyn::centre(std::span<const double>(signal).subspan(60, kTemplateSamples));
  const std::size_t windows = signal.size() - kTemplateSamples + 1;
  std::vector<double> out(windows);
  for (auto _ : state) {
    zyn::window_correlations(beat, signal, 0, windows, out);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(windows));
}
BENCHMARK(BM_window_correlations_33)->Unit(benchmark::kMicrosecond);

}  // namespace
