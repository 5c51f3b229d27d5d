// The wave detection driver and the C adapters: beats on a regular rhythm,
// splitting by class, the early exits, and bad input that must never crash or
// read out of bounds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "beats/analyze_ecg.hpp"
#include "beats/detect_waves.hpp"
#include "beats/rpeak_classifier.hpp"
#include "common/records.hpp"
#include "common/synthetic_ecg.hpp"
#include "runtime/emx.hpp"
#include "zynecgsolver/beats.h"

using namespace zyn::testing;

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

// A regular rhythm with an offset of 2 mV, which the median centring removes.
// Both C adapters give the same beats and leave the caller's samples alone.
TEST(DetectWaves, RegularRhythmIsAllNormalOnTheRWavesGoodAndNotShortAlsoThroughTheCAdapters) {
  std::vector<double> rSeconds;
  std::vector<double> ecg = synthetic_ecg(12000, 200.0, 72.0, 1, &rSeconds);
  for (double& v : ecg) v += 2.0;
  const std::vector<double> untouched = ecg;
  const zyn::WaveDetection d = zyn::detect_waves(ecg, 200, 10, 5.0);
  expect_consistent(d, ecg.size(), 200);
  EXPECT_GE(d.normalPeaks.size(), 66u);
  for (int32_t p : d.normalPeaks) {
    const auto onR = [p](double t) { return std::fabs(p - (t * 200.0 + 1.0)) <= 1.5; };  // 1-based positions
    EXPECT_TRUE(std::any_of(rSeconds.begin(), rSeconds.end(), onR)) << p;
  }
  EXPECT_TRUE(d.extraPeaks.empty());
  EXPECT_EQ(std::pair(d.overallQuality, d.shortRrFlag), std::pair(1, 0));
  EXPECT_EQ(d.windowQuality, (std::vector<int32_t>(6, 0)));
  // Saturated recording: overall code 2, windows 5.
  const zyn::WaveDetection s = zyn::detect_waves(ecg, 200, 10, 1.0);
  EXPECT_EQ(s.overallQuality, 2);
  EXPECT_EQ(s.windowQuality, (std::vector<int32_t>(6, 5)));

  emxArray_real_T* in = emxCreateWrapper_real_T(ecg.data(), 12000, 1);
  auto normal = record(std::vector<int32_t>{}), extra = record(std::vector<int32_t>{}),
       windows = record(std::vector<int32_t>{}), classes = record(std::vector<int32_t>{});
  int32_T overall = -1, flag = -1;
  m_detectWaves(in, 200, 10, normal.get(), extra.get(), windows.get(), &overall, &flag, 5.0);
  EXPECT_EQ(contents(normal), d.normalPeaks);
  EXPECT_EQ(contents(windows), d.windowQuality);
  EXPECT_EQ(std::pair(overall, flag), std::pair(1, 0));
  m_detectWaves(in, 200, 10, normal.get(), extra.get(), windows.get(), nullptr, nullptr, 5.0);  // null flags
  // The classifier's own adapter: the beats as a column, their classes as a row.
  EXPECT_EQ(m_analyze_ecg_offline_emlc(in, 200, normal.get(), classes.get()), 0);
  EXPECT_EQ(contents(normal), d.normalPeaks);
  EXPECT_EQ(shape(normal), (std::vector<int32_t>{static_cast<int32_t>(d.normalPeaks.size()), 1}));
  EXPECT_EQ(contents(classes), std::vector<int32_t>(d.normalPeaks.size(), 1));
  EXPECT_EQ(shape(classes), (std::vector<int32_t>{1, static_cast<int32_t>(d.normalPeaks.size())}));
  emxDestroyArray_real_T(in);
  EXPECT_EQ(ecg, untouched);
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

// Empty, one-sample, 12 and 13 samples (the shortest that can be reflected),
// constant and constant negative signals, a NaN or infinity in a recording or
// throughout it, and values near the largest double, at positive, zero and
// negative rates.
TEST(DetectWaves, BadInputNeverCrashes) {
  const std::vector<double> clean = synthetic_ecg(8000, 200.0, 70.0, 2);
  std::vector<std::vector<double>> inputs = {{}, std::vector<double>(1, 1.0), std::vector<double>(12, 1.0),
                                             std::vector<double>(13, 1.0), std::vector<double>(401, 0.5),
                                             std::vector<double>(5000, -2.0), clean, clean};
  for (double& v : inputs.back()) v *= 1e300;
  for (double bad : {kNaN, kInf, -kInf}) {
    inputs.push_back(clean);
    inputs.back()[4000] = bad;
    inputs.push_back(std::vector<double>(3000, bad));
  }
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
