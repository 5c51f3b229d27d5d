// Cost of the whole beat detection and quality rating of a 10-minute
// recording at 200 Hz, and throughput of the HRV analysis of such a
// recording on one and on two calling threads.
//
// Recordings: MIT-BIH records 100 and 208 (MLII lead, first 10 minutes,
// resampled from 360 Hz as the command-line tool does) when the data folder
// and the WFDB readers are present; otherwise a synthetic recording, named
// "synthetic" and never after a real record.
//
// Every benchmark reports process CPU time (all threads of the process, the
// "CPU" column) beside wall time ("Time"). The HRV throughput
// (items_per_second) counts analyses per wall-clock second over all calling
// threads.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "analysis/pipelines.hpp"
#include "beats/detect_waves.hpp"
#include "common/synthetic_ecg.hpp"
#if defined(ZYN_HAVE_WFDB)
#include "wfdb/resample.hpp"
#include "wfdb/signals.hpp"
#endif

namespace {

constexpr double kRateHz = 200.0;
constexpr double kMinutes = 10.0;
constexpr double kFullScaleMillivolts = 5.12;

std::optional<std::vector<double>> mitdb_recording(const std::string& record) {
#if defined(ZYN_HAVE_WFDB)
  try {
    const zyn::wfdb::Record r = zyn::wfdb::read_record(std::string(ZYN_DATA_DIR) + "/mitdb", record);
    std::vector<double> mv = zyn::wfdb::physical_signal(r, 0);
    const double rate = r.header.samplingFrequency;
    mv.resize(std::min(mv.size(), static_cast<std::size_t>(kMinutes * 60.0 * rate)));
    return zyn::wfdb::resample(mv, rate, kRateHz);
  } catch (const std::exception&) {
  }
#else
  (void)record;
#endif
  return std::nullopt;
}

std::vector<double> synthetic_recording() {
  return zyn::testing::synthetic_ecg(static_cast<std::size_t>(kMinutes * 60.0 * kRateHz), kRateHz, 72, 1);
}

void detect_waves_on(benchmark::State& state, const std::vector<double>& ecg) {
  for (auto _ : state) {
    zyn::WaveDetection d = zyn::detect_waves(ecg, static_cast<int32_t>(kRateHz), 10, kFullScaleMillivolts);
    benchmark::DoNotOptimize(d);
  }
  state.counters["samples"] = static_cast<double>(ecg.size());
}

void analyse_hrv_on(benchmark::State& state, const std::vector<double>& ecg) {
  zyn::AnalysisRequest request;
  request.ecg = std::span<const double>(ecg);
  request.fullScale = kFullScaleMillivolts;
  for (auto _ : state) {
    zyn::HrvAnalysis a = zyn::analyse_hrv(request);
    benchmark::DoNotOptimize(a);
  }
  state.SetItemsProcessed(state.iterations());
}

// The recordings are loaded once, before the benchmarks are registered, and
// live as long as the process.
bool register_benchmarks() {
  static std::vector<std::pair<std::string, std::vector<double>>> recordings;
  for (const char* record : {"100", "208"}) {
    if (auto ecg = mitdb_recording(record)) recordings.emplace_back(std::string("mitdb_") + record, std::move(*ecg));
  }
  if (recordings.empty()) recordings.emplace_back("synthetic", synthetic_recording());
  for (const auto& [name, ecg] : recordings) {
    const std::vector<double>* samples = &ecg;
    benchmark::RegisterBenchmark(("BM_DetectWaves/" + name).c_str(),
                                 [samples](benchmark::State& s) { detect_waves_on(s, *samples); })
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime()
        ->Repetitions(10)
        ->ReportAggregatesOnly(true);
  }
  const std::vector<double>* first = &recordings.front().second;
  benchmark::RegisterBenchmark(("BM_AnalyseHrv/" + recordings.front().first).c_str(),
                               [first](benchmark::State& s) { analyse_hrv_on(s, *first); })
      ->Unit(benchmark::kMillisecond)
      ->MeasureProcessCPUTime()
      ->UseRealTime()
      ->Threads(1)
      ->Threads(2)
      ->Repetitions(5)
      ->ReportAggregatesOnly(true);
  return true;
}

const bool kRegistered = register_benchmarks();

}  // namespace
