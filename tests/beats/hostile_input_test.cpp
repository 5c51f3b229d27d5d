// Regression tests for faults that fuzzing found in wave detection: each
// input once made the library allocate without bound, read out of bounds or
// stop with a sanitizer report.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "beats/analyze_ecg.hpp"
#include "beats/detect_waves.hpp"
#include "beats/signal_quality.hpp"
#include "common/synthetic_ecg.hpp"

namespace {

// A sampling rate of 0 Hz gave n / 0 = infinity whole seconds and asked for
// 2^31 - 1 quality windows (8 GB); it now rates the stretch as one window.
TEST(HostileWaveDetection, ZeroRateGivesOneQualityWindow) {
  const auto ecg = zyn::testing::synthetic_ecg(8000, 200.0, 70.0, 1);
  const std::vector<int32_t> beats{300, 470, 640};
  EXPECT_EQ(zyn::beats::window_quality(ecg, 0, beats, 5, 10.0).size(), 1U);
  EXPECT_EQ(zyn::beats::window_quality(ecg, -200, beats, 5, 10.0).size(), 1U);
  const zyn::WaveDetection d = zyn::detect_waves(ecg, 0, 5, 10.0);
  EXPECT_EQ(d.windowQuality.size(), 1U);
}

}  // namespace
