// Sampling-rate conversion of a physical signal (libsamplerate, best-quality
// band-limited sinc interpolation). The output sample k stands for time
// k / toHz seconds, as input sample k stands for k / fromHz: the converter's
// delay is compensated, so beat positions map across rates by time alone.
#pragma once

#include <span>
#include <vector>

#include "wfdb/signals.hpp"

namespace zyn::wfdb {

// Rate at which the analysis library expects its ECG, samples per second.
inline constexpr double kAnalysisRateHz = 200.0;

// Resamples signal from fromHz to toHz; the output holds
// round(size * toHz / fromHz) samples. Equal rates return a copy.
std::vector<double> resample(std::span<const double> signal, double fromHz, double toHz);

// One signal of a record in physical units, resampled to 200 Hz.
std::vector<double> analysis_signal(const Record& record, std::size_t signalIndex);

}  // namespace zyn::wfdb
