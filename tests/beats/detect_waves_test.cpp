// The wave detection driver: splitting by class, bad input that must never
// crash or read out of bounds, and the end-to-end accuracy on MIT-BIH
// recordings (skipped when the data folder is absent).
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <limits>
#include <random>
#include <vector>

#include "beats/detect_waves.hpp"
#include "beats/rpeak_classifier.hpp"
#include "beats/support.hpp"
#include "zynecgsolver/beats.h"
#include "zynecgsolver/emxarray.h"

namespace {

// Every output must be consistent whatever the input: ascending positions
// more than fs samples from either end, one code per window.
void expect_consistent(const zyn::WaveDetection& d, std::size_t n, int32_t fs) {
  for (const auto* peaks : {&d.normalPeaks, &d.extraPeaks}) {
    for (std::size_t i = 0; i < peaks->size(); ++i) {
      EXPECT_GT((*peaks)[i], fs);
      EXPECT_LT((*peaks)[i], static_cast<int64_t>(n) - fs);
      if (i > 0) {
        EXPECT_LT((*peaks)[i - 1], (*peaks)[i]);
      }
    }
  }
  EXPECT_GE(d.windowQuality.size(), 1u);
  EXPECT_TRUE(d.overallQuality >= 1 && d.overallQuality <= 3);
  EXPECT_TRUE(d.shortRrFlag == 0 || d.shortRrFlag == 1);
}

}  // namespace

TEST(DetectWaves, RegularRhythmIsAllNormalGoodAndNotShort) {
  const auto beats = beats_test::regular_beats(12000, 150, 170);
  const std::vector<double> ecg = beats_test::synthetic_ecg(12000, beats, 200.0);
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
  EXPECT_TRUE(d.normalPeaks.empty());
  EXPECT_TRUE(d.extraPeaks.empty());
  EXPECT_EQ(d.windowQuality, (std::vector<int32_t>{3}));
  EXPECT_EQ(d.overallQuality, 1);
}

TEST(DetectWaves, BadInputNeverCrashes) {
  const auto beats = beats_test::regular_beats(8000, 150, 170);
  const std::vector<double> clean = beats_test::synthetic_ecg(8000, beats, 200.0);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  std::vector<std::vector<double>> inputs = {{}, std::vector<double>(1, 1.0), std::vector<double>(12, 1.0),
                                             std::vector<double>(13, 1.0), std::vector<double>(401, 0.5),
                                             std::vector<double>(5000, -2.0)};
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
      const zyn::WaveDetection d = zyn::detect_waves(inputs[i], fs, 10, 5.0);
      if (fs > 0) {
        expect_consistent(d, inputs[i].size(), fs);
      }
    }
  }
}

TEST(DetectWaves, LongRecordingAndCAdapter) {
  // Half an hour at 200 Hz.
  const std::size_t n = 1800 * 200;
  std::vector<double> ecg = beats_test::synthetic_ecg(n, beats_test::regular_beats(n, 150, 160), 200.0);
  emxArray_real_T* in = emxCreateWrapper_real_T(ecg.data(), static_cast<int32_t>(n), 1);
  emxArray_int32_T* normal = emxCreate_int32_T(0, 0);
  emxArray_int32_T* extra = emxCreate_int32_T(0, 0);
  emxArray_int32_T* windows = emxCreate_int32_T(0, 0);
  int32_T overall = -1, flag = -1;
  m_detectWaves(in, 200, 10, normal, extra, windows, &overall, &flag, 5.0);
  EXPECT_GE(normal->size[0], 2240);
  EXPECT_EQ(normal->size[1], 1);
  EXPECT_EQ(windows->size[0], 180);
  EXPECT_EQ(overall, 1);
  EXPECT_EQ(flag, 0);
  // Null flag places and a row-shaped input are tolerated.
  m_detectWaves(in, 200, 10, normal, extra, windows, nullptr, nullptr, 5.0);
  emxDestroyArray_real_T(in);
  emxDestroyArray_int32_T(normal);
  emxDestroyArray_int32_T(extra);
  emxDestroyArray_int32_T(windows);
}

// Whole MIT-BIH records (MLII, 360 Hz linearly resampled to 200 Hz): gross
// sensitivity and positive predictivity of all detected beats against the
// reference beats, within 150 ms. Thresholds sit just below measured figures.
TEST(DetectWaves, EndToEndOnMitBih) {
  const std::string folder = std::string(ZYN_DATA_DIR) + "/mitdb";
  if (!std::filesystem::exists(folder + "/100.dat")) GTEST_SKIP() << "no MIT-BIH data in " << folder;
  struct Expected {
    const char* record;
    double sensitivity, predictivity;
  };
  for (const Expected& e : {Expected{"100", 0.999, 0.999}, Expected{"119", 0.999, 0.999},
                            Expected{"208", 0.955, 0.998}}) {
    SCOPED_TRACE(e.record);
    const beats_test::Record r = beats_test::read_mitdb(folder, e.record);
    ASSERT_FALSE(r.mv.empty());
    const std::vector<double> ecg = beats_test::resample_linear(r.mv, 360.0, 200.0);
    const zyn::WaveDetection d = zyn::detect_waves(ecg, 200, 10, 5.12);
    std::vector<double> detected;
    for (int32_t p : d.normalPeaks) detected.push_back((p - 1) / 200.0);
    for (int32_t p : d.extraPeaks) detected.push_back((p - 1) / 200.0);
    std::sort(detected.begin(), detected.end());
    const beats_test::Score s = beats_test::score(r.beatSeconds, detected, static_cast<double>(r.mv.size()) / 360.0);
    EXPECT_GE(s.sensitivity(), e.sensitivity) << s.tp << " " << s.fn << " " << s.fp;
    EXPECT_GE(s.predictivity(), e.predictivity) << s.tp << " " << s.fn << " " << s.fp;
  }
}
