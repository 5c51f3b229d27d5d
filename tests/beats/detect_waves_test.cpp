// The wave detection driver: splitting by class, the early exits, and bad
// input that must never crash or read out of bounds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "beats/detect_waves.hpp"
#include "beats/rpeak_classifier.hpp"
#include "common/records.hpp"
#include "common/synthetic_ecg.hpp"
#include "runtime/emx.hpp"
#include "zynecgsolver/beats.h"

namespace {

// Every output must be consistent whatever the input: ascending positions
// more than fs samples from either end, one code per window.
void expect_consistent(const zyn::WaveDetection& d, std::size_t n, int32_t fs) {
  for (const auto* peaks : {&d.normalPeaks, &d.extraPeaks}) {
    EXPECT_TRUE(std::all_of(peaks->begin(), peaks->end(),
                            [&](int32_t p) { return p > fs && p < static_cast<int64_t>(n) - fs; }));
    EXPECT_EQ(std::adjacent_find(peaks->begin(), peaks->end(), std::greater_equal<>()), peaks->end());
  }
  EXPECT_GE(d.windowQuality.size(), 1u);
  EXPECT_TRUE(d.overallQuality >= 1 && d.overallQuality <= 3);
  EXPECT_TRUE(d.shortRrFlag == 0 || d.shortRrFlag == 1);
}

}  // namespace

TEST(DetectWaves, RegularRhythmIsAllNormalGoodAndNotShortAlsoThroughTheCAdapter) {
  std::vector<double> ecg = zyn::testing::synthetic_ecg(12000, 200.0, 72.0, 1);
  const zyn::WaveDetection d = zyn::detect_waves(ecg, 200, 10, 5.0);
  expect_consistent(d, ecg.size(), 200);
  EXPECT_GE(d.normalPeaks.size(), 66u);
  EXPECT_TRUE(d.extraPeaks.empty());
  EXPECT_EQ(d.overallQuality, 1);
  EXPECT_EQ(d.windowQuality, (std::vector<int32_t>(6, 0)));
  EXPECT_EQ(d.shortRrFlag, 0);
  // Saturated recording: overall code 2, windows 5.
  const zyn::WaveDetection s = zyn::detect_waves(ecg, 200, 10, 1.0);
  EXPECT_EQ(s.overallQuality, 2);
  EXPECT_EQ(s.windowQuality, (std::vector<int32_t>(6, 5)));

  emxArray_real_T* in = emxCreateWrapper_real_T(ecg.data(), 12000, 1);
  auto normal = zyn::make_record<emxArray_int32_T>(2), extra = zyn::make_record<emxArray_int32_T>(2),
       windows = zyn::make_record<emxArray_int32_T>(2);
  int32_T overall = -1, flag = -1;
  m_detectWaves(in, 200, 10, normal.get(), extra.get(), windows.get(), &overall, &flag, 5.0);
  EXPECT_EQ(zyn::testing::contents(normal), d.normalPeaks);
  EXPECT_EQ(zyn::testing::contents(windows), d.windowQuality);
  EXPECT_EQ(std::pair(overall, flag), std::pair(1, 0));
  m_detectWaves(in, 200, 10, normal.get(), extra.get(), windows.get(), nullptr, nullptr, 5.0);  // null flags
  emxDestroyArray_real_T(in);
}

TEST(DetectWaves, OneBeatOrNoneIsUnusable) {
  // A single QRS on a slow ramp (distinct values, nothing else to detect).
  std::vector<double> ecg(3000);
  for (std::size_t i = 0; i < ecg.size(); ++i) {
    const double d = static_cast<double>(i) - 1500.0;
    ecg[i] = 1e-4 * static_cast<double>(i) + std::exp(-d * d / (2.0 * 2.4 * 2.4));
  }
  std::vector<double> copy = ecg;
  EXPECT_EQ(zyn::beats::analyze_ecg_r(copy, 200.0).rpeaks, (std::vector<double>{0.0}));
  const zyn::WaveDetection d = zyn::detect_waves(ecg, 200, 10, 5.0);
  EXPECT_TRUE(d.normalPeaks.empty() && d.extraPeaks.empty());
  EXPECT_EQ(d.windowQuality, (std::vector<int32_t>{3}));
  EXPECT_EQ(d.overallQuality, 1);
}

TEST(DetectWaves, BadInputNeverCrashes) {
  const std::vector<double> clean = zyn::testing::synthetic_ecg(8000, 200.0, 70.0, 2);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  std::vector<std::vector<double>> inputs = {{}, std::vector<double>(1, 1.0), std::vector<double>(12, 1.0),
                                             std::vector<double>(13, 1.0), std::vector<double>(401, 0.5),
                                             std::vector<double>(5000, -2.0), clean};
  for (double bad : {nan, inf, -inf}) {
    std::vector<double> one = clean;
    one[4000] = bad;
    inputs.push_back(one);
    inputs.push_back(std::vector<double>(3000, bad));
  }
  std::vector<double> huge = clean;
  for (double& v : huge) v *= 1e300;
  inputs.push_back(huge);
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    SCOPED_TRACE(i);
    for (int32_t fs : {200, 1, 0, -200}) {
      const zyn::WaveDetection d = zyn::detect_waves(inputs[i], fs, 5, 10.0);
      if (fs > 0) {
        expect_consistent(d, inputs[i].size(), fs);
      } else {
        // Found by fuzzing: n / 0 whole seconds once asked for 2^31 - 1 windows.
        EXPECT_EQ(d.windowQuality.size(), 1u);
      }
    }
  }
}
