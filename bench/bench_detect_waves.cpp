// Time of the whole beat detection and quality rating of a 10-minute
// recording at 200 Hz: MIT-BIH records 100 and 208 (MLII lead, first 10
// minutes, resampled from 360 Hz as the command-line tool does), or a
// synthetic recording when the data folder or the WFDB readers are absent.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "beats/detect_waves.hpp"
#if defined(ZYN_HAVE_WFDB)
#include "wfdb/resample.hpp"
#include "wfdb/signals.hpp"
#endif

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
#if defined(ZYN_HAVE_WFDB)
  try {
    const zyn::wfdb::Record r = zyn::wfdb::read_record(std::string(ZYN_DATA_DIR) + "/mitdb", record);
    std::vector<double> mv = zyn::wfdb::physical_signal(r, 0);
    const double rate = r.header.samplingFrequency;
    mv.resize(std::min(mv.size(), static_cast<std::size_t>(kMinutes * 60.0 * rate)));
    return zyn::wfdb::resample(mv, rate, kRate);
  } catch (const std::exception&) {
  }
#endif
  return synthetic_recording();
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
