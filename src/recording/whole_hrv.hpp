// Heart rates and HRV of a whole recording from its merged beat list, through
// the library's own rhythm routines: the two heart rates (median RR and
// trimmed mean RR), the labelled RR series, the time-domain statistics with
// their 300 s segments, the Lomb spectrum of the NN series and its band
// powers. The steps and their order are those of the library's HRV analysis
// of one call, so a beat list from one call gives exactly its results.
// Beat positions are 200 Hz samples; times are seconds, powers s^2.
// Also a table of 5-minute segments of recording time with the mean heart
// rate, SDNN and RMSSD of the NN intervals that end in each, and its beats.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "stretches.hpp"

namespace zyn::recording {

// The whole-recording RR series: every interval between merged beats, labelled
// 'N' (ends at a normal beat) or 'V' (ends at an extra systole), and the NN
// series the spectrum is taken of. Times are interval midpoints in seconds from
// the first midpoint, as the library's rhythm routines define them.
struct RrSeries {
  std::vector<double> t, rr;
  std::vector<char> flags;
  std::vector<double> nnT, nnRR;
};

// The library's Lomb spectrum of the whole NN series up to 0.4 Hz: the band
// powers are sums of `power` over their frequencies.
struct Spectrum {
  std::vector<double> frequencyHz;
  std::vector<double> power;           // s^2 per spectral point
};

// One 5-minute segment of the recording (the segments SDANN and SDNNIDX are
// taken over).
struct SegmentRow {
  double startSeconds = 0.0, endSeconds = 0.0;   // from the first sample of the recording
  int64_t normalBeats = 0, extraSystoles = 0;
  int64_t nnIntervals = 0;
  std::optional<double> meanHrBpm;               // 60 / mean NN interval
  std::optional<double> sdnnSeconds, rmssdSeconds;
};

// HRV of the whole recording.
struct WholeHrv {
  // 0, 3 (no plausible rhythm), 4 (no spectrum: frequency domain missing),
  // 8 (five or fewer normal beats), or 1 when not requested (mode qrs).
  int32_t error = kNoRecording;
  // nn_rr, avnn, sdnn, sdann, sdnnidx, rmssd, pnn50 (seconds and fractions).
  std::optional<std::array<double, 7>> timeDomain;
  // tot_pwr, ulf_pwr, vlf_pwr, lf_pwr, hf_pwr (s^2) and lf_hf.
  std::optional<std::array<double, 6>> frequencyDomain;
  std::string note;                    // why statistics are missing, if so
};

// Heart rates, HRV, series, spectrum and segments of one beat list.
struct WholeRhythm {
  int32_t error = kAnalysisOk;              // 0, or 3: no plausible rhythm
  std::optional<double> hrBpm, hrMeanBpm;
  WholeHrv hrv;
  RrSeries rrSeries;
  Spectrum spectrum;
  std::vector<SegmentRow> segments;
};

inline constexpr double kSegmentTableSeconds = 300.0;

// Rhythm of the merged beats (ascending, positions in the analysed signal);
// HRV only when withHrv. startSeconds is the time of the analysed signal's
// first sample in the recording (for the segment table); no NN interval
// spans one of the gaps (runs of samples that are not numbers).
WholeRhythm whole_rhythm(const std::vector<Beat>& beats, bool withHrv, int64_t analysedSamples,
                         double startSeconds, const std::vector<StretchPlan>& gaps = {});

}  // namespace zyn::recording
