// Sampling-rate conversion through libsamplerate. See resample.hpp.
#include "wfdb/resample.hpp"

#include <samplerate.h>

#include <cmath>
#include <memory>
#include <string>

#include "wfdb/error.hpp"

namespace zyn::wfdb {
namespace {

struct StateDeleter {
  void operator()(SRC_STATE* state) const { src_delete(state); }
};

// Input is fed in blocks so that float buffers stay small for long records.
constexpr long kBlockFrames = 1 << 16;

}  // namespace

std::vector<double> resample(std::span<const double> signal, double fromHz, double toHz) {
  if (!(fromHz > 0.0) || !(toHz > 0.0))
    throw Error("resampler", "sampling rates must be positive");
  if (fromHz == toHz) return {signal.begin(), signal.end()};
  const double ratio = toHz / fromHz;
  if (src_is_valid_ratio(ratio) == 0)
    throw Error("resampler", "conversion ratio " + std::to_string(ratio) + " is out of range");
  const auto wanted = static_cast<std::size_t>(std::llround(static_cast<double>(signal.size()) * ratio));
  std::vector<double> out;
  out.reserve(wanted);
  if (signal.empty()) return out;

  int status = 0;
  const std::unique_ptr<SRC_STATE, StateDeleter> state(src_new(SRC_SINC_BEST_QUALITY, 1, &status));
  if (!state) throw Error("resampler", src_strerror(status));

  const auto outCapacity = static_cast<long>(std::ceil(static_cast<double>(kBlockFrames) * ratio)) + 64;
  std::vector<float> in(static_cast<std::size_t>(kBlockFrames));
  std::vector<float> buffer(static_cast<std::size_t>(outCapacity));
  std::size_t consumed = 0;
  for (;;) {
    const std::size_t blockSize =
        std::min<std::size_t>(static_cast<std::size_t>(kBlockFrames), signal.size() - consumed);
    for (std::size_t i = 0; i < blockSize; ++i) in[i] = static_cast<float>(signal[consumed + i]);
    SRC_DATA data{};
    data.data_in = in.data();
    data.input_frames = static_cast<long>(blockSize);
    data.data_out = buffer.data();
    data.output_frames = outCapacity;
    data.src_ratio = ratio;
    data.end_of_input = consumed + blockSize == signal.size() ? 1 : 0;
    status = src_process(state.get(), &data);
    if (status != 0) throw Error("resampler", src_strerror(status));
    // Unused input stays at the front of the next block.
    const auto used = static_cast<std::size_t>(data.input_frames_used);
    consumed += used;
    for (long i = 0; i < data.output_frames_gen; ++i) out.push_back(buffer[static_cast<std::size_t>(i)]);
    if (data.end_of_input != 0 && used == blockSize && data.output_frames_gen == 0) break;
    if (out.size() >= wanted && consumed == signal.size()) break;
  }
  // The converter can end a sample short of or past the nominal length.
  if (out.size() > wanted) out.resize(wanted);
  while (out.size() < wanted) out.push_back(out.empty() ? 0.0 : out.back());
  return out;
}

std::vector<double> analysis_signal(const Record& record, std::size_t signalIndex) {
  return resample(physical_signal(record, signalIndex), record.header.samplingFrequency,
                  kAnalysisRateHz);
}

}  // namespace zyn::wfdb
