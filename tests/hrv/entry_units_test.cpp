// The toCompile entry unit composes wave detection with the rhythm stage of
// the caller's beats, each exactly as the separate routines compute them.
#include <gtest/gtest.h>

#include <cmath>

#include "hrv_test_support.hpp"
#include "runtime/emx.hpp"
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
  using Ints = zyn::RecordPtr<emxArray_int32_T>;
  Ints found[3] = {zyn::make_record<emxArray_int32_T>(2), zyn::make_record<emxArray_int32_T>(2),
                   zyn::make_record<emxArray_int32_T>(2)};
  Ints expected[3] = {zyn::make_record<emxArray_int32_T>(2), zyn::make_record<emxArray_int32_T>(2),
                      zyn::make_record<emxArray_int32_T>(2)};
  auto flags = zyn::make_record<emxArray_int16_T>(2);
  auto t = zyn::make_record<emxArray_real_T>(2), rr = zyn::make_record<emxArray_real_T>(2);
  int32_T quality = -1, shortRr = -1, expectedQuality = -2, expectedShortRr = -2;
  double hr = 0.0;
  toCompile_initialize();
  toCompile(ecg, 200, 4, normal.get(), 6, extra.get(), 1, 200, found[0].get(), found[1].get(), &quality,
            found[2].get(), &hr, flags.get(), t.get(), rr.get(), &shortRr, 4.0);
  toCompile_terminate();
  m_detectWaves(ecg, 200, 4, expected[0].get(), expected[1].get(), expected[2].get(), &expectedQuality,
                &expectedShortRr, 4.0);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(column_values(found[k].get()), column_values(expected[k].get())) << k;
  EXPECT_EQ(std::pair(quality, shortRr), std::pair(expectedQuality, expectedShortRr));
  EXPECT_EQ(hr, m_calcHRsys(normal.get(), 6, extra.get(), 1, 200));
  EXPECT_EQ(column_values(flags.get()), (std::vector<int16_t>{78, 78, 86, 78, 78, 78}));
  EXPECT_EQ(column_values(rr.get()), (std::vector<double>{1.0, 1.0, 0.75, 0.75, 0.5, 1.0}));
  EXPECT_EQ(column_values(t.get()).back(), 4.0);
  emxDestroyArray_real_T(ecg);
}

}  // namespace
