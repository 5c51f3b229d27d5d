// R-peak detector and classifier, and the analysis entry around it: unusable
// input, the local peak and segment peak rules, label assembly and majority
// swap, the edge trim and the short-RR flag.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "beats/analyze_ecg.hpp"
#include "beats/rpeak_classifier.hpp"
#include "common/synthetic_ecg.hpp"
#include "runtime/emx.hpp"
#include "zynecgsolver/beats.h"
#include "zynecgsolver/emxarray.h"

using namespace zyn::beats;
using zyn::testing::synthetic_ecg;

namespace {
constexpr double kMinusInf = -std::numeric_limits<double>::infinity();
const ClassifiedBeats kUnusable{{0.0}, {0.0}};
}  // namespace

TEST(Classifier, UnusableInputGivesASingleZeroBeat) {
  std::vector<double> flat(3000, 1.5);
  const ClassifiedBeats r = analyze_ecg_r(flat, 200.0);
  EXPECT_EQ(r.rpeaks, kUnusable.rpeaks);
  EXPECT_EQ(r.beatClass, kUnusable.beatClass);
  // Clear beats, but quantised to fewer than 70 levels.
  std::vector<double> fine = synthetic_ecg(6000, 200.0, 70.0, 1), coarse = fine;
  for (double& v : coarse) v = std::round(v * 30.0) / 30.0;
  EXPECT_EQ(analyze_ecg_r(coarse, 200.0).rpeaks, kUnusable.rpeaks);
  EXPECT_GT(analyze_ecg_r(fine, 200.0).rpeaks.size(), 20u);
  std::vector<double> empty;
  EXPECT_EQ(analyze_ecg_r(empty, 200.0).rpeaks, kUnusable.rpeaks);
}

TEST(Classifier, FindsRegularBeatsAsOneClassAndCentresTheInput) {
  std::vector<double> rSeconds;
  std::vector<double> ecg = synthetic_ecg(12000, 200.0, 70.0, 2, &rSeconds);
  std::erase_if(rSeconds, [](double t) { return t * 200.0 >= 12000.0; });
  for (double& v : ecg) v += 3.0;  // an offset the median centring removes
  const ClassifiedBeats r = analyze_ecg_r(ecg, 200.0);
  ASSERT_FALSE(r.rpeaks.empty());
  std::size_t matched = 0;
  for (double p : r.rpeaks) {
    for (double t : rSeconds) matched += std::fabs(p - (t * 200.0 + 1.0)) <= 1.5 ? 1 : 0;
  }
  EXPECT_GE(matched + 2, rSeconds.size());  // the beats at the very ends may go
  EXPECT_EQ(matched, r.rpeaks.size());
  for (double c : r.beatClass) EXPECT_EQ(c, 1.0);
  EXPECT_LT(std::fabs(ecg[5]), 1.0);  // baseline-corrected in place
}

TEST(LocalPeak, HighestRiseThenNonRiseFirstOfEqual) {
  const std::vector<double> x = {0, 3, 1, 5, 5, 2, 5, 0};
  const auto p = find_local_peak(x);
  EXPECT_EQ(p.value, 5.0);
  EXPECT_EQ(p.place, 4.0);  // the plateau's first sample, before the later equal peak
  for (const std::vector<double>& none : {std::vector<double>{1, 2, 3}, std::vector<double>{3, 2, 1},
                                          std::vector<double>{1, 2}, std::vector<double>{}}) {
    const auto q = find_local_peak(none);
    EXPECT_EQ(q.value, kMinusInf);
    EXPECT_EQ(q.place, kMinusInf);
  }
}

// The segment peak by its definition: maxima and the minima before them
// tabled sample by sample (a minimum slot defaults to the first sample), each
// maximum scored against its own slot and the next one.
std::ptrdiff_t scored_maximum_by_definition(const std::vector<double>& y) {
  const auto len = static_cast<std::ptrdiff_t>(y.size());
  if (len < 3) return 0;
  const auto at = [&](std::ptrdiff_t k) { return y[static_cast<std::size_t>(k - 1)]; };
  std::vector<std::ptrdiff_t> maxima(y.size() + 1, 0), minima(y.size() + 2, 1);
  std::size_t j = 1;
  for (std::ptrdiff_t k = 2; k <= len - 1; ++k) {
    if (at(k) > at(k - 1) && at(k + 1) <= at(k)) {
      maxima[j++] = k;
    } else if (at(k) <= at(k - 1) && at(k) < at(k + 1)) {
      minima[j] = k;
    }
  }
  if (minima[j] == 1) minima[j] = len;
  double best = kMinusInf;
  std::ptrdiff_t winner = 0;
  for (std::size_t i = 1; i < j; ++i) {
    if (minima[i + 1] == 1) continue;
    const double top = at(maxima[i]);
    const double score = (top - at(minima[i])) + 1.9 * (top - at(minima[i + 1]));
    if (score > best) best = score, winner = maxima[i];
  }
  return winner;
}

TEST(SegmentPeak, AgreesWithTheTabledDefinitionOnNoisyPlateauAndNaNSegments) {
  std::mt19937 rng(5);
  std::uniform_int_distribution<int> level(0, 6);
  TurningPointScratch scratch;  // reused, as across the segments of a signal
  for (int trial = 0; trial < 400; ++trial) {
    std::vector<double> y(static_cast<std::size_t>(trial % 90));
    for (double& v : y) v = static_cast<double>(level(rng));  // few levels: plateaus and equal scores
    if (trial % 4 == 1 && !y.empty()) y[y.size() / 2] = std::nan("");
    if (trial % 6 == 2 && !y.empty()) y.front() = std::nan("");
    SCOPED_TRACE(trial);
    ASSERT_EQ(best_scored_maximum(y, scratch), scored_maximum_by_definition(y));
  }
  EXPECT_EQ(best_scored_maximum(std::vector<double>{0, 2, 2, 1, 3, 0}, scratch), 5);  // 2 + 1.9 * 3 beats 2 + 1.9 * 1
}

TEST(Assembly, SortsMergesDropsNonPositiveAndSwapsLabelsOnlyAboveHalf) {
  const ClassifiedBeats r = assemble({{300, 100, kMinusInf, 100, 0}, {200, 300, -4}});
  EXPECT_EQ(r.rpeaks, (std::vector<double>{100, 200, 300}));
  EXPECT_EQ(r.beatClass, (std::vector<double>{1, 2, 1}));  // label 1 wins an overlap
  EXPECT_EQ(assemble({{10, 20}, {30, 40}}).beatClass, (std::vector<double>{1, 1, 2, 2}));  // exactly half
  EXPECT_EQ(assemble({{10, 20}, {30, 40, 50}}).beatClass, (std::vector<double>{2, 2, 1, 1, 1}));
  EXPECT_EQ(assemble({{}, {30}}).beatClass, (std::vector<double>{1}));
  EXPECT_TRUE(assemble({{}, {}}).rpeaks.empty());
}

TEST(EdgeTrim, DropsBeatsWithinOneSecondOfEitherEndKeepingClassesAligned) {
  // N = 1000, fs = 200: kept exactly when 200 < R < 800.
  const ClassifiedBeats all{{200, 201, 500, 799, 800}, {1, 2, 1, 2, 1}};
  const auto kept = keep_inner_beats(all, 1000, 200.0);
  EXPECT_EQ(kept.rpeaks, (std::vector<double>{201, 500, 799}));
  EXPECT_EQ(kept.beatClass, (std::vector<double>{2, 1, 2}));
  EXPECT_TRUE(keep_inner_beats(kUnusable, 1000, 200.0).rpeaks.empty());
  EXPECT_TRUE(keep_inner_beats({{200, 201}, {1, 1}}, 401, 200.0).rpeaks.empty());  // 2 fs + 1 samples
}

TEST(ShortRrFlag, ThresholdIsStrictAtPointThreeSeconds) {
  // Five coarse peaks: four intervals. (At exactly 0.3 s the rounding of the
  // summed intervals decides; with 10 to 28 intervals the mean of the
  // reciprocal-scaled intervals falls one unit below 0.3 and the flag is 1.)
  std::vector<double> every50, every60;
  for (int i = 0; i < 5; ++i) every50.push_back(100.0 + 50.0 * i), every60.push_back(100.0 + 60.0 * i);
  EXPECT_TRUE(rr_is_short(every50, 200.0));   // 0.25 s
  EXPECT_FALSE(rr_is_short(every60, 200.0));  // 0.3 s
  EXPECT_FALSE(rr_is_short(std::vector<double>{100.0}, 200.0));
  EXPECT_FALSE(rr_is_short(std::vector<double>{}, 200.0));
  EXPECT_TRUE(rr_is_short(std::vector<double>{0.0, 0.0, 0.0}, 200.0));  // no accepted coarse peak
}

TEST(AnalysisEntry, IntegerFrontShapesAndFlag) {
  std::vector<double> ecg = synthetic_ecg(6000, 200.0, 70.0, 3);
  const std::vector<double> untouched = ecg;
  emxArray_real_T* in = emxCreateWrapper_real_T(ecg.data(), 6000, 1);
  auto rpeaks = zyn::make_record<emxArray_int32_T>(2), classes = zyn::make_record<emxArray_int32_T>(2);
  EXPECT_EQ(m_analyze_ecg_offline_emlc(in, 200, rpeaks.get(), classes.get()), 0);
  ASSERT_GT(rpeaks->size[0], 20);
  EXPECT_EQ(rpeaks->size[1], 1);
  EXPECT_EQ(classes->size[0], 1);
  EXPECT_EQ(classes->size[1], rpeaks->size[0]);
  EXPECT_GT(rpeaks->data[0], 200);
  EXPECT_EQ(ecg, untouched);  // the caller's samples are not modified
  emxDestroyArray_real_T(in);
}
