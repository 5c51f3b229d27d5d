// Fuzz target: the QRS and HRV analyses on hostile recordings and arguments.
//
// Input layout (little-endian):
//   u8  flags     bit 0: HRV (else QRS); bit 1: no recording (null array);
//                 bits 2-3: signal kind 0 raw payload doubles, 1 synthetic
//                 sinus rhythm, 2 constant, 3 step; bit 4: wave detection
//                 itself at the given fs (any rate, not only 200 Hz); bit 5:
//                 beat analysis at the rate a (any double)
//   i32 fs, i32 startSeconds, i32 qualityWindowSeconds, f64 fullScale
//   u32 length    taken modulo 120201 (every accepted length and a little more)
//   f64 a, f64 b  kind 1: heart rate (bpm) and amplitude (mV); kind 2: the
//                 value a; kind 3: levels a then b
//   u8  count     of injected samples, each u32 position and u8 value kind
//                 (NaN, +Inf, -Inf, denormal, +1e308, -1e308, 0, 1e6 spike)
//   payload       kind 0: doubles tiled over the recording; kind 1: u32 seed
// Every combination must return a result without crashing, reading out of
// bounds or leaking; valid results must carry positions inside the recording.
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "analysis/pipelines.hpp"
#include "beats/analyze_ecg.hpp"
#include "beats/detect_waves.hpp"
#include "common/synthetic_ecg.hpp"
#include "fuzz_input.hpp"

namespace {

constexpr uint32_t kLengthModulus = zyn::kHrvMaxSamples + 201;

// Injected sample values, by kind modulo 8.
constexpr double kSpecialValues[] = {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                                     -std::numeric_limits<double>::infinity(), std::numeric_limits<double>::denorm_min(),
                                     1e308, -1e308, 0.0, 1e6};

std::vector<double> make_signal(uint8_t kind, std::size_t length, double a, double b,
                                std::span<const uint8_t> payload) {
  std::vector<double> x(length, kind == 0 ? 0.0 : a);
  if (kind == 0) {
    const std::size_t pattern = payload.size() / sizeof(double);
    for (std::size_t i = 0; i < length && pattern > 0; ++i)
      std::memcpy(&x[i], payload.data() + (i % pattern) * sizeof(double), sizeof(double));
  } else if (kind == 1) {
    uint32_t seed = 0;
    if (!payload.empty()) std::memcpy(&seed, payload.data(), std::min(payload.size(), sizeof seed));
    const double bpm = std::isfinite(a) ? std::clamp(std::fabs(a), 20.0, 300.0) : 70.0;
    x = zyn::testing::synthetic_ecg(length, 200.0, bpm, seed);
    for (double& v : x) v *= b;
  } else if (kind == 3) {
    std::fill(x.begin() + static_cast<std::ptrdiff_t>(length / 2), x.end(), b);
  }
  return x;
}

template <class Analysis>
void check_positions(const Analysis& r, std::size_t length) {
  if (r.error != zyn::kAnalysisOk && r.error != zyn::kSaturated && r.error != zyn::kIrregular &&
      r.error != zyn::kNoSpectrum && r.error != zyn::kTooFewBeatsForHrv)
    return;
  for (const auto* list : {&r.rpeaks, &r.extraSystoles})
    for (int32_t p : *list)
      if (p < -1 || p >= static_cast<int64_t>(length)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  zyn::fuzz::InputReader in(data, size);
  const auto flags = in.take<uint8_t>();
  zyn::AnalysisRequest request;
  request.fs = in.take<int32_t>();
  request.startSeconds = in.take<int32_t>();
  request.qualityWindowSeconds = in.take<int32_t>();
  request.fullScale = in.take<double>();
  const std::size_t length = in.take<uint32_t>() % kLengthModulus;
  const auto a = in.take<double>();
  const auto b = in.take<double>();
  const auto injections = in.take<uint8_t>();
  std::vector<std::pair<uint32_t, uint8_t>> specials;
  for (int i = 0; i < injections; ++i) {
    const auto position = in.take<uint32_t>();
    specials.emplace_back(position, in.take<uint8_t>());
  }

  std::vector<double> signal = make_signal((flags >> 2) & 3, length, a, b, in.rest());
  for (const auto& [position, kind] : specials)
    if (!signal.empty()) signal[position % signal.size()] = kSpecialValues[kind % 8];
  if ((flags & 2) == 0) request.ecg = std::span<const double>(signal);

  if (flags & 0x10) {
    (void)zyn::detect_waves(signal, request.fs, request.qualityWindowSeconds, request.fullScale);
  } else if (flags & 0x20) {
    (void)zyn::beats::analyze_stretch(signal, a);
  } else if (flags & 1) {
    check_positions(zyn::analyse_hrv(request), signal.size());
  } else {
    check_positions(zyn::analyse_qrs(request), signal.size());
  }
  return 0;
}
