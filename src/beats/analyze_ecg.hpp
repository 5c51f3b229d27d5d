// Beat analysis of one ECG stretch: detection, edge trim, short-RR flag.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "beats/rpeak_classifier.hpp"

namespace zyn::beats {

struct StretchBeats {
  std::vector<double> rpeaks;     // 1-based, more than fs samples from either end
  std::vector<double> beatClass;  // parallel to rpeaks
  bool shortRr = false;           // coarse RR intervals implausibly short
};

// Runs the detector on a private copy of ecg, keeps beats with
// fs < position < N - fs, and raises the flag when (mean + min) / 2 of the
// coarse detector's RR intervals is below 0.3 s.
StretchBeats analyze_stretch(std::span<const double> ecg, double fs);

// The flag from given coarse peak positions (fewer than two: false).
bool rr_is_short(std::span<const double> coarsePeaks, double fs);
// The beats with fs < position < n - fs, classes kept aligned.
StretchBeats keep_inner_beats(const ClassifiedBeats& all, std::size_t n, double fs);

}  // namespace zyn::beats
