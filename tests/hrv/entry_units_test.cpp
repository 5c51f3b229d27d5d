// The toCompile entry unit composes wave detection with the rhythm stage of
// the caller's beats, each exactly as the separate routines compute them.
#include <gtest/gtest.h>

#include <cmath>

#include "hrv_test_support.hpp"
#include "zynecgsolver/beats.h"
#include "zynecgsolver/hrv.h"

namespace {
using hrvtest::column_values;

TEST(ToCompile, OutputsEqualTheSeparateRoutines) {
  std::vector<double> samples(2400);  // 12 s at 200 Hz, a sharp beat every 0.8 s
  for (std::size_t i = 0; i < samples.size(); ++i) {
    const double phase = std::fmod(static_cast<double>(i) / 200.0, 0.8) - 0.4;
    samples[i] = std::exp(-phase * phase / 2e-4);
  }
  emxArray_real_T* ecg = emxCreateWrapper_real_T(samples.data(), 2400, 1);
  auto normal = hrvtest::int_column({100, 300, 500, 800, 900, 1100});
  auto extra = hrvtest::int_column({650});
  emxArray_int32_T* found[3] = {emxCreate_int32_T(0, 1), emxCreate_int32_T(0, 1), emxCreate_int32_T(0, 1)};
  emxArray_int32_T* expected[3] = {emxCreate_int32_T(0, 1), emxCreate_int32_T(0, 1), emxCreate_int32_T(0, 1)};
  emxArray_int16_T* flags = emxCreate_int16_T(0, 1);
  emxArray_real_T* t = emxCreate_real_T(0, 1);
  emxArray_real_T* rr = emxCreate_real_T(0, 1);
  int32_T quality = -1, shortRr = -1, expectedQuality = -2, expectedShortRr = -2;
  double hr = 0.0;
  toCompile_initialize();
  toCompile(ecg, 200, 4, normal.get(), 6, extra.get(), 1, 200, found[0], found[1], &quality, found[2], &hr,
            flags, t, rr, &shortRr, 4.0);
  toCompile_terminate();
  m_detectWaves(ecg, 200, 4, expected[0], expected[1], expected[2], &expectedQuality, &expectedShortRr, 4.0);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(column_values(found[k]), column_values(expected[k])) << k;
  EXPECT_EQ(quality, expectedQuality);
  EXPECT_EQ(shortRr, expectedShortRr);
  EXPECT_EQ(hr, m_calcHRsys(normal.get(), 6, extra.get(), 1, 200));
  EXPECT_EQ(column_values(flags), (std::vector<int16_t>{78, 78, 86, 78, 78, 78}));
  EXPECT_EQ(column_values(rr), (std::vector<double>{1.0, 1.0, 0.75, 0.75, 0.5, 1.0}));
  EXPECT_EQ(column_values(t).back(), 4.0);
  for (int k = 0; k < 3; ++k) emxDestroyArray_int32_T(found[k]), emxDestroyArray_int32_T(expected[k]);
  emxDestroyArray_int16_T(flags);
  emxDestroyArray_real_T(t);
  emxDestroyArray_real_T(rr);
  emxDestroyArray_real_T(ecg);
}

}  // namespace
