// Band powers of the spectrum and the frequency-domain HRV record.
#include <gtest/gtest.h>

#include <cmath>

#include "hrv/band_power.hpp"
#include "zynecgsolver/hrv.h"

namespace {
using V = std::vector<double>;
using Record = std::array<double, 6>;
constexpr double kUntouched = -123.0;
const double* kBands = zyn::kHrvBandEdgesHz.data();
const Record kUntouchedRecord{kUntouched, kUntouched, kUntouched, kUntouched, kUntouched, kUntouched};

// The frequency-domain record (s^2) of beat times and RR intervals (s), and
// its status (left at 0 on success).
std::pair<Record, int32_T> frequency_record(const V& t, const V& rr) {
  std::pair<Record, int32_T> r{kUntouchedRecord, 0};
  calcHrvFreq(t.data(), rr.data(), static_cast<int32_T>(t.size()), r.first.data(), &r.second);
  return r;
}

// Band edges are inclusive, so a point on an edge counts in both bands; a
// malformed table or fewer than three points fail before the record is
// written, and the 0.4 Hz cut zeroes the entries above it.
TEST(BandPowers, EdgePointsCountInBothBandsAndBadTablesLeaveTheRecord) {
  const V freq{0.0033, 0.04, 0.1, 0.15, 0.4}, amp{1.0, 2.0, 3.0, 4.0, 5.0}, low{0.05, 0.06, 0.07}, edges(22, 0.5);
  V out(6, kUntouched);
  EXPECT_EQ(calcPWR(8, kBands, freq.data(), amp.data(), 5, out.data()), 4);
  EXPECT_EQ(out, (V{55.0, 1.0, 1.0 + 4.0, 4.0 + 9.0 + 16.0, 16.0 + 25.0, 29.0 / 41.0}));
  EXPECT_EQ(calcPWR(8, kBands, low.data(), amp.data(), 3, out.data()), 4);
  EXPECT_TRUE(std::isinf(out[5]));  // nothing in HF
  V untouched(12, kUntouched);
  for (int32_T nEdges : {2, 7, 22}) {
    EXPECT_EQ(calcPWR(nEdges, edges.data(), freq.data(), amp.data(), 4, untouched.data()), -1) << nEdges;
  }
  for (int64_t n : {2, -1}) EXPECT_EQ(calcPWR(8, edges.data(), freq.data(), amp.data(), n, untouched.data()), -2);
  EXPECT_EQ(untouched, V(12, kUntouched));
  V freq2{0.1, 0.4, 0.41, 0.0}, amp2{1.0, 2.0, 3.0, 0.0};
  uint64_t kept = 0;
  limitFreq(freq2.data(), amp2.data(), freq2.size(), &kept, 0.4);
  EXPECT_EQ(kept, 3u);  // the zero entry counts as kept
  EXPECT_EQ(amp2, (V{1.0, 2.0, 0.0, 0.0}));
}

TEST(FrequencyDomain, SineLandsInItsBandWithItsPower) {
  // A sine of amplitude a (s) has power a^2 / 2 (s^2); over 10 minutes its
  // main lobe is a few thousandths of a Hz wide, well inside each band, and
  // the sidelobes leak less than 1 % beyond the band edges.
  const double a = 0.05;
  for (const auto& [f, band] : {std::pair{0.1, 3}, std::pair{0.25, 4}, std::pair{0.02, 2}}) {
    SCOPED_TRACE(f);
    V t, rr;
    for (double time = 0.0; t.size() < 750; time += rr.back()) {
      t.push_back(time);
      rr.push_back(0.8 + a * std::sin(2.0 * M_PI * f * time));
    }
    const auto [r, status] = frequency_record(t, rr);
    EXPECT_EQ(status, 0);
    EXPECT_NEAR(r[band], a * a / 2.0, 0.01 * a * a / 2.0);
    EXPECT_NEAR(r[0], a * a / 2.0, 0.01 * a * a / 2.0);
    for (int b = 1; b <= 4; ++b) EXPECT_LT(b == band ? 0.0 : r[b], 0.02 * r[band]) << b;
  }
  // Points 2..6 spanning 0.4 s start at 1/1.6 Hz (none kept); spanning 1.5 s
  // they give 1/6 and 1/3 Hz only: status 4, record untouched.
  const V rr{0.1, 0.1, 0.12, 0.1, 0.09, 0.1};
  for (const V& t : {V{0.0, 0.1, 0.2, 0.3, 0.4, 0.5}, V{0.0, 0.5, 0.75, 1.0, 1.5, 2.0}}) {
    EXPECT_EQ(frequency_record(t, rr), std::pair(kUntouchedRecord, 4));
  }
}

}  // namespace
