// Time to write the HTML report of a 24-hour recording: 17.3 M samples at
// 200 Hz of a synthetic ECG (a beat every 0.8 s with noise, 4% extra
// systoles), its beats and RR series, 8,640 quality windows, 288 5-minute
// segments and a periodogram of 140,000 points. The page's size is
// reported as a counter; the ECG's encoding is timed on its own too.
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>

#include "report_input.hpp"
#include "report_signal.hpp"

namespace {

using namespace zyn::cli;

struct Day {
  std::vector<double> ecg;
  ReportInput input;
};

const Day& day() {
  static const Day d = [] {
    Day day;
    constexpr double kSeconds = 86400.0, kRate = 200.0;
    std::mt19937 rng(1);
    std::normal_distribution<double> noise(0.0, 0.02);
    day.ecg.resize(static_cast<std::size_t>(kSeconds * kRate));
    ReportInput& in = day.input;
    in.file = "day.i16";
    in.format = "raw";
    in.units = "adu";
    in.fileRateHz = 360;
    in.recordedSeconds = kSeconds;
    in.unitsPerMillivolt = 200;
    int64_t previous = -1;
    for (std::size_t i = 0; i < day.ecg.size(); ++i) {
      const double t = static_cast<double>(i) / kRate, phase = std::fmod(t, 0.8);
      day.ecg[i] = 200 * (0.1 * std::sin(t * 0.3) + std::exp(-std::pow((phase - 0.4) / 0.012, 2)) + noise(rng));
      if (i % 160 == 80) {
        const bool extra = i % 4000 == 80;
        (extra ? in.extraSystoles : in.normalBeats).push_back(static_cast<int64_t>(i));
        if (previous >= 0) {
          in.rr.endSeconds.push_back(t);
          in.rr.rrSeconds.push_back(static_cast<double>(static_cast<int64_t>(i) - previous) / kRate);
          in.rr.nn.push_back(!extra);
        }
        previous = static_cast<int64_t>(i);
      }
    }
    in.ecg200 = day.ecg;
    for (int w = 0; w < 8640; ++w) in.windows.push_back({w * 10.0, w * 10.0 + 10.0, 0});
    in.timeDomain = std::array<double, 7>{0.96, 0.8, 0.1, 0.05, 0.06, 0.04, 0.1};
    in.frequencyDomain = std::array<double, 6>{0.02, 0.005, 0.005, 0.004, 0.006, 0.66};
    for (int j = 1; j <= 140000; ++j) {
      in.spectrumHz.push_back(j * 0.4 / 140000);
      in.spectrumPower.push_back(1e-8 / j);
    }
    for (int s = 0; s < 288; ++s) in.segments.push_back({s * 300.0, 300.0, 75.0, 0.05, 0.04, 370, 5});
    return day;
  }();
  return d;
}

void BM_ReportOfADay(benchmark::State& state) {
  const ReportInput& in = day().input;
  std::size_t bytes = 0;
  for (auto _ : state) {
    const std::string page = render_report(in);
    bytes = page.size();
    benchmark::DoNotOptimize(page.data());
  }
  state.counters["MB"] = static_cast<double>(bytes) / 1e6;
}
BENCHMARK(BM_ReportOfADay)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();

// The part of it that embeds the ECG.
void BM_SignalOfADay(benchmark::State& state) {
  const Day& d = day();
  for (auto _ : state) {
    std::string text;
    append_encoded_signal(text, d.ecg, 200.0, 0.5);
    benchmark::DoNotOptimize(text.data());
  }
}
BENCHMARK(BM_SignalOfADay)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();

}  // namespace
