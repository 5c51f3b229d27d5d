// Signal quality of an ECG recording and of its quality windows.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace zyn::beats {

// Overall codes.
inline constexpr int32_t kQualityGood = 1;
inline constexpr int32_t kQualitySaturated = 2;
inline constexpr int32_t kQualityIrregular = 3;
// Window codes (a distinct set: 3 means something else here).
inline constexpr int32_t kWindowGood = 0;
inline constexpr int32_t kWindowTooFewBeats = 3;
inline constexpr int32_t kWindowSaturated = 5;
inline constexpr int32_t kWindowIrregular = 6;

// 2 when a sample exceeds 0.97 fullScale in magnitude, else 3 when the RR sd
// of the first beatCount beats exceeds 0.25 of their mean, else 1.
int32_t stretch_quality(std::span<const double> ecg, std::span<const int32_t> beats, double fullScale,
                        double beatCount);

// One code per whole window of qualityWindowSeconds (a single window when the
// length is 4 s or less or longer than the recording).
std::vector<int32_t> window_quality(std::span<const double> ecg, int32_t fs, std::span<const int32_t> beats,
                                    int32_t qualityWindowSeconds, double fullScale);

}  // namespace zyn::beats
