// Time of the whole beat detection and quality rating of a 10-minute
// recording at 200 Hz: MIT-BIH records 100 and 208 (MLII lead, first 10
// minutes, 360 Hz linearly interpolated to 200 Hz), or a synthetic recording
// when the data folder is absent.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "beats/detect_waves.hpp"

namespace {

constexpr double kRate = 200.0;
constexpr double kMinutes = 10.0;

// First signal of a format-212 record in millivolts (gain 200, zero 1024).
std::vector<double> read_mitdb_lead(const std::string& record, double sourceRate) {
  std::ifstream in(std::string(ZYN_DATA_DIR) + "/mitdb/" + record + ".dat", std::ios::binary);
  if (!in) return {};
  const std::vector<unsigned char> bytes((std::istreambuf_iterator<char>(in)), {});
  const auto wanted = static_cast<std::size_t>(kMinutes * 60.0 * sourceRate);
  std::vector<double> mv;
  for (std::size_t i = 0; i + 2 < bytes.size() && mv.size() < wanted; i += 3) {
    int v = bytes[i] | ((bytes[i + 1] & 0x0F) << 8);
    if (v & 0x800) v -= 4096;
    mv.push_back((v - 1024) / 200.0);
  }
  return mv;
}

std::vector<double> resample_linear(const std::vector<double>& x, double from, double to) {
  if (x.size() < 2) return x;
  const auto n = static_cast<std::size_t>(std::floor(static_cast<double>(x.size() - 1) * to / from)) + 1;
  std::vector<double> y(n);
  for (std::size_t i = 0; i < n; ++i) {
    const double t = static_cast<double>(i) * from / to;
    const auto k = static_cast<std::size_t>(t);
    const double f = t - static_cast<double>(k);
    y[i] = k + 1 < x.size() ? x[k] * (1.0 - f) + x[k + 1] * f : x[k];
  }
  return y;
}

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
  std::vector<double> x = read_mitdb_lead(record, 360.0);
  if (x.empty()) return synthetic_recording();
  return resample_linear(x, 360.0, kRate);
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
