// Time-domain HRV statistics of a labelled RR series over 300 s segments.
#pragma once

#include <cstdint>
#include <span>

namespace zyn {

// Interval flag of an interval ending at a normal beat ('N'); 'V' marks one
// ending at an extra systole.
inline constexpr char kNormalFlag = 'N';
inline constexpr char kExtraSystoleFlag = 'V';
inline constexpr double kSegmentSeconds = 300.0;
// Successive NN differences strictly above this count towards pNN50 (s).
inline constexpr double kPnn50ThresholdSeconds = 0.050000000100000004;

// Slots of the time-domain record.
enum TimeSlot : std::size_t { kNnRatio, kAvnn, kSdnn, kSdann, kSdnnIdx, kRmssd, kPnn50 };

// nn_rr, avnn, sdnn, sdann (-1 with fewer than two usable segments),
// sdnnidx (-1 without any), rmssd and pnn50 of the intervals (t, rr, flags);
// an interval is NN when it and the one before it end at normal beats.
// Returns the number of 300 s segments spanned (saturated to int32).
int32_t nn_statistics(std::span<const double> t, std::span<const double> rr,
                      std::span<const char> flags, std::span<double, 7> out);

// nn_statistics with sdann -1 or NaN reported as 0; sets status to 0.
int32_t time_domain_hrv(std::span<const double> t, std::span<const double> rr,
                        std::span<const char> flags, std::span<double, 7> out, int32_t& status);

// Series of a beat list in which every beat is normal: for the nRR = size of
// the outputs intervals, flags 'N', rr(i) = (p(i+1) - p(i)) / fs s and t the
// midpoint times from the first midpoint. Reads peaks(1..nRR+1); returns
// nRR - 1 when nRR >= 2, the first sample difference when nRR is 1, else 0.
int32_t all_normal_rr_series(std::span<const int32_t> peaks, int32_t fs, std::span<char> flags,
                             std::span<double> t, std::span<double> rr);

}  // namespace zyn
