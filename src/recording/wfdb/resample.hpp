// Sampling-rate conversion of a physical signal with libsoxr at its very high
// quality (28-bit precision, linear phase), in double precision. The output
// sample k stands for time k / toHz seconds, as input sample k stands for
// k / fromHz: the converter removes its own delay, so beat positions map
// across rates by time alone. A whole signal of n samples gives
// round(n * toHz / fromHz) samples.
//
// The stream form takes the signal in chunks as a file is read, so the
// signal at its original rate never needs to be held whole.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "wfdb/signals.hpp"

namespace zyn::wfdb {

// Rate at which the analysis library expects its ECG, samples per second.
inline constexpr double kAnalysisRateHz = 200.0;

class Resampler {
 public:
  // Throws Error when a rate is not positive.
  Resampler(double fromHz, double toHz);
  ~Resampler();
  Resampler(const Resampler&) = delete;
  Resampler& operator=(const Resampler&) = delete;

  // Converts the next chunk of input, appending what is ready to out.
  void push(std::span<const double> chunk, std::vector<double>& out);
  // Ends the input: appends the rest, and pads or trims out (which must hold
  // everything this stream appended) to the nominal length.
  void finish(std::vector<double>& out);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// Resamples a whole signal from fromHz to toHz. Equal rates return a copy.
std::vector<double> resample(std::span<const double> signal, double fromHz, double toHz);

// One signal of a record in physical units, resampled to 200 Hz.
std::vector<double> analysis_signal(const Record& record, std::size_t signalIndex);

}  // namespace zyn::wfdb
