// HRV of real recordings: the expert beat annotations of the MIT-BIH
// Arrhythmia Database (360 Hz) as beat lists, normal beats versus all other
// beat types.
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <string>

#include "hrv/hrv.hpp"

namespace {

constexpr int32_t kMitdbRateHz = 360;

struct Annotated {
  std::vector<int32_t> normal, extra;
};

// Annotation file: 16-bit little-endian words of type (high 6 bits) and time
// increment (low 10 bits), plus long-skip (59), auxiliary-text (63) and
// field codes (60-62). Beat positions become 1-based samples.
Annotated load(const char* record) {
  std::ifstream in(std::string(ZYN_DATA_DIR) + "/mitdb/" + record + ".atr", std::ios::binary);
  Annotated a;
  unsigned char b[2];
  auto next = [&](uint32_t& word) {
    const bool ok = static_cast<bool>(in.read(reinterpret_cast<char*>(b), 2));
    word = ok ? b[0] | (b[1] << 8U) : 0;
    return ok;
  };
  int64_t time = 0;
  for (uint32_t word = 0, hi = 0, lo = 0; next(word) && word != 0;) {
    const uint32_t code = word >> 10, increment = word & 0x3FF;
    if (code == 59 && next(hi) && next(lo)) time += (hi << 16) | lo;
    if (code == 63) in.ignore((increment + 1) & ~1U);
    if (code >= 59) continue;
    time += increment;
    const bool beat = (code >= 1 && code <= 13) || code == 25 || code == 34 || code == 35 || code == 37 ||
                      code == 38 || code == 41;
    if (beat) (code == 1 ? a.normal : a.extra).push_back(static_cast<int32_t>(time + 1));
  }
  return a;
}

struct Result {
  std::array<double, 7> time{};
  std::array<double, 6> freq{};
  int32_t status = -1;
};

Result analyse(const Annotated& a) {
  Result r;
  zyn::hrv_with_extra_systoles(a.normal, a.extra, static_cast<int32_t>(a.normal.size()) - 1,
                               kMitdbRateHz, r.time, r.freq, r.status);
  return r;
}

TEST(Recordings, SinusRhythmRecordGivesPhysiologicalValues) {
  const Annotated a = load("100");
  if (a.normal.empty()) GTEST_SKIP() << "recordings not available";
  const auto nNormal = static_cast<int32_t>(a.normal.size());
  EXPECT_NEAR(zyn::heart_rate_from_trimmed_mean(a.normal, nNormal, a.extra,
                                                static_cast<int32_t>(a.extra.size()), kMitdbRateHz),
              76.0, 2.0);
  EXPECT_NEAR(zyn::heart_rate_from_median_rr(a.normal, nNormal, kMitdbRateHz), 76.0, 3.0);
  const Result r = analyse(a);
  EXPECT_EQ(r.status, 0);
  EXPECT_NEAR(r.time[1], 60.0 / 76.0, 0.03);  // avnn (s)
  EXPECT_GT(r.time[0], 0.95);                 // nn_rr: few ectopic beats
  EXPECT_TRUE(r.time[2] > 0.01 && r.time[2] < 0.2 && r.time[3] > 0.0 && r.time[4] > 0.0);
  for (double p : r.freq) EXPECT_TRUE(std::isfinite(p) && p > 0.0);
  // The bands cover 0 to 0.4 Hz contiguously; the spectrum holds at most the NN variance.
  EXPECT_NEAR(r.freq[1] + r.freq[2] + r.freq[3] + r.freq[4], r.freq[0], 0.01 * r.freq[0]);
  EXPECT_LT(r.freq[0], 1.1 * r.time[2] * r.time[2]);
}

}  // namespace
