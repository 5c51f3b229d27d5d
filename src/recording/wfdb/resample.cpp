// Sampling-rate conversion through libsoxr. See resample.hpp.
#include "wfdb/resample.hpp"

#include <soxr.h>

#include <cmath>
#include <string>

#include "wfdb/error.hpp"

namespace zyn::wfdb {
namespace {

// Output is taken from the converter in blocks of this many samples.
constexpr std::size_t kOutputBlockSamples = 1 << 15;

void check(soxr_error_t error) {
  if (error != nullptr) throw Error("resampler", error);
}

}  // namespace

struct Resampler::State {
  double ratio = 1.0;
  bool copy = false;       // equal rates: the input is the output
  soxr_t soxr = nullptr;
  uint64_t consumed = 0;   // input samples pushed
  uint64_t produced = 0;   // output samples appended
  std::vector<double> block = std::vector<double>(kOutputBlockSamples);

  ~State() {
    if (soxr != nullptr) soxr_delete(soxr);
  }

  // Feeds `count` samples (none and `in` null: end of input) and appends
  // everything the converter has ready.
  void run(const double* in, std::size_t count, std::vector<double>& out) {
    std::size_t offered = 0;
    for (;;) {
      std::size_t used = 0, made = 0;
      check(soxr_process(soxr, in == nullptr ? nullptr : in + offered, count - offered, &used, block.data(),
                         block.size(), &made));
      offered += used;
      out.insert(out.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(made));
      produced += made;
      if (made < block.size() && offered == count) return;
    }
  }
};

Resampler::Resampler(double fromHz, double toHz) : state_(std::make_unique<State>()) {
  if (!(fromHz > 0.0) || !(toHz > 0.0) || !std::isfinite(fromHz) || !std::isfinite(toHz))
    throw Error("resampler", "sampling rates must be positive");
  state_->ratio = toHz / fromHz;
  state_->copy = fromHz == toHz;
  if (state_->copy) return;
  const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
  const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
  const soxr_runtime_spec_t runtime = soxr_runtime_spec(1);  // on the caller's thread
  soxr_error_t error = nullptr;
  state_->soxr = soxr_create(fromHz, toHz, 1, &error, &io, &quality, &runtime);
  check(error);
  if (state_->soxr == nullptr) throw Error("resampler", "cannot create the converter");
}

Resampler::~Resampler() = default;

void Resampler::push(std::span<const double> chunk, std::vector<double>& out) {
  state_->consumed += chunk.size();
  if (state_->copy) {
    out.insert(out.end(), chunk.begin(), chunk.end());
    state_->produced += chunk.size();
    return;
  }
  if (!chunk.empty()) state_->run(chunk.data(), chunk.size(), out);
}

void Resampler::finish(std::vector<double>& out) {
  if (!state_->copy) state_->run(nullptr, 0, out);
  const auto wanted = static_cast<uint64_t>(std::llround(static_cast<double>(state_->consumed) * state_->ratio));
  // The converter can end a sample short of or past the nominal length.
  const auto start = out.size() - static_cast<std::size_t>(state_->produced);
  const std::size_t end = start + static_cast<std::size_t>(wanted);
  if (out.size() > end) out.resize(end);
  while (out.size() < end) out.push_back(out.size() > start ? out.back() : 0.0);
  state_->produced = wanted;
}

std::vector<double> resample(std::span<const double> signal, double fromHz, double toHz) {
  Resampler resampler(fromHz, toHz);
  std::vector<double> out;
  out.reserve(static_cast<std::size_t>(std::ceil(static_cast<double>(signal.size()) * toHz / fromHz)) + 1);
  resampler.push(signal, out);
  resampler.finish(out);
  return out;
}

std::vector<double> analysis_signal(const Record& record, std::size_t signalIndex) {
  return resample(physical_signal(record, signalIndex), record.header.samplingFrequency, kAnalysisRateHz);
}

}  // namespace zyn::wfdb
