// Beat detection and quality rating of one ECG recording, as one call.
//
// Runs the R-peak detector and beat classifier over the whole recording,
// splits the beats into the majority morphology (normal beats) and the rest
// (extra systoles), raises the short-RR flag from the coarse detector and
// rates the signal quality of the whole recording (codes 1 good, 2 saturated,
// 3 irregular) and of each quality window (0 good, 3 fewer than two beats,
// 5 saturated, 6 irregular). Positions are 1-based sample indices into ecg;
// no beat lies within fs samples of either end.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace zyn {

struct WaveDetection {
  std::vector<int32_t> normalPeaks, extraPeaks, windowQuality;
  int32_t overallQuality = 1;
  int32_t shortRrFlag = 0;
};

WaveDetection detect_waves(std::span<const double> ecg, int32_t fs, int32_t qualityWindowSeconds,
                           double fullScale);

}  // namespace zyn
