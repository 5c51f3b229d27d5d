// Time of the whole beat detection and quality rating of a 10-minute
// recording at 200 Hz: MIT-BIH records 100 and 208 (MLII lead, first 10
// minutes, 360 Hz linearly interpolated to 200 Hz), or a synthetic recording
// when the data folder is absent.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "beats/detect_waves.hpp"
#include "beats/support.hpp"

namespace {

constexpr double kRate = 200.0;
constexpr double kMinutes = 10.0;

// Regular beats at 72 per minute: a narrow QRS on a slow baseline wave.
std::vector<double> synthetic_recording() {
  const auto n = static_cast<std::size_t>(kMinutes * 60.0 * kRate);
  std::vector<double> y(n);
  for (std::size_t i = 0; i < n; ++i) {
    const double t = static_cast<double>(i) / kRate;
    const double phase = std::fmod(t, 60.0 / 72.0) - 0.3;
    y[i] = 1.2 * std::exp(-phase * phase / (2 * 0.012 * 0.012)) + 0.1 * std::sin(2 * M_PI * 0.3 * t) +
           0.01 * std::sin(37.0 * t * t);
  }
  return y;
}

std::vector<double> recording(const std::string& record) {
  std::vector<double> x = beats_test::read_mitdb(std::string(ZYN_DATA_DIR) + "/mitdb", record).mv;
  if (x.empty()) return synthetic_recording();
  x.resize(std::min(x.size(), static_cast<std::size_t>(kMinutes * 60.0 * 360.0)));
  return beats_test::resample_linear(x, 360.0, kRate);
}

void detect_waves_on(benchmark::State& state, const std::string& record) {
  const std::vector<double> ecg = recording(record);
  for (auto _ : state) {
    zyn::WaveDetection d = zyn::detect_waves(ecg, 200, 10, 5.12);
    benchmark::DoNotOptimize(d);
  }
}

void BM_DetectWaves_100(benchmark::State& state) { detect_waves_on(state, "100"); }
void BM_DetectWaves_208(benchmark::State& state) { detect_waves_on(state, "208"); }

}  // namespace

BENCHMARK(BM_DetectWaves_100)->Unit(benchmark::kMillisecond)->Repetitions(10)->ReportAggregatesOnly(true);
BENCHMARK(BM_DetectWaves_208)->Unit(benchmark::kMillisecond)->Repetitions(10)->ReportAggregatesOnly(true);
