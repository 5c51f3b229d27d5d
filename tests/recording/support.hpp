// Helpers of the whole-recording tests: the source folder and matching beat
// times.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "analyse_recording.hpp"
#include "common/scratch.hpp"

namespace zyn::recording::testing {

using namespace ::zyn::testing;

inline fs::path source_dir() { return ZYN_SOURCE_DIR; }

// Beat times (s) in `found` with no partner within 150 ms in the sorted
// `reference`, among those inside [from, to].
inline std::vector<double> unmatched(const std::vector<double>& found, const std::vector<double>& reference,
                                     double from, double to) {
  std::vector<double> out;
  for (const double t : found) {
    if (t < from || t > to) continue;
    const auto at = std::lower_bound(reference.begin(), reference.end(), t - 0.150);
    if (at == reference.end() || *at > t + 0.150) out.push_back(t);
  }
  return out;
}

// Times (s) of the merged beats of an analysis, from the start of the recording.
inline std::vector<double> beat_seconds(const RecordingAnalysis& r) {
  std::vector<double> out;
  for (const Beat& b : r.beats) out.push_back(r.seconds(b.sample));
  return out;
}

}  // namespace zyn::recording::testing
