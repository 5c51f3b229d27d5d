// Labelled RR-interval series of a beat list split into normal beats and
// extra systoles, and the normal-to-normal (NN) series derived from it.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace zyn {

// Interval flags: the interval ends at a normal beat ('N') or at an extra
// systole ('V').
inline constexpr int16_t kNormalIntervalFlag = 78;
inline constexpr int16_t kExtraSystoleIntervalFlag = 86;

struct LabelledRRSeries {
  std::vector<int16_t> flags;  // one per interval, 'N' or 'V'
  std::vector<double> t;       // s, midpoint of each interval from the first midpoint
  std::vector<double> rr;      // s
  std::vector<double> nnT;     // s, times of the NN intervals kept for the spectrum
  std::vector<double> nnRR;    // s
};

// Series of the distinct beats of both lists (positions in samples at fs Hz,
// a beat in both lists counts once, as normal). NN intervals neither end nor
// start at an extra systole; the first interval never reaches the NN series,
// and as many NN intervals as extraPeaks has elements are cut from its end.
// Everything is empty with fewer than two distinct beats.
LabelledRRSeries labelled_rr_series(std::span<const int32_t> normalPeaks,
                                    std::span<const int32_t> extraPeaks, int32_t fs);

}  // namespace zyn
