// R-peak detector and classifier, and the analysis entry around it: unusable
// input, the local peak and segment peak rules, label assembly and majority
// swap, the edge trim and the short-RR flag. (Detection of a regular rhythm
// and the C adapter are checked with the wave detection.)
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "beats/analyze_ecg.hpp"
#include "beats/rpeak_classifier.hpp"
#include "common/synthetic_ecg.hpp"

using namespace zyn::beats;
using namespace zyn::testing;

namespace {
constexpr double kMinusInf = -std::numeric_limits<double>::infinity();
const ClassifiedBeats kUnusable{{0.0}, {0.0}};
}  // namespace

TEST(Classifier, FlatEmptyOrCoarselyQuantisedInputGivesASingleZeroBeat) {
  // Clear beats, but quantised to fewer than 70 levels.
  std::vector<double> coarse = synthetic_ecg(6000, 200.0, 70.0, 1);
  for (double& v : coarse) v = std::round(v * 30.0) / 30.0;
  for (std::vector<double> x : {std::vector<double>(3000, 1.5), coarse, std::vector<double>{}}) {
    const ClassifiedBeats r = analyze_ecg_r(x, 200.0);
    EXPECT_EQ(r.rpeaks, kUnusable.rpeaks);
    EXPECT_EQ(r.beatClass, kUnusable.beatClass);
  }
}

TEST(LocalPeak, HighestRiseThenNonRiseFirstOfEqual) {
  const auto p = find_local_peak(std::vector<double>{0, 3, 1, 5, 5, 2, 5, 0});
  EXPECT_EQ(p.value, 5.0);
  EXPECT_EQ(p.place, 4.0);  // the plateau's first sample, before the later equal peak
  for (const std::vector<double>& none : {std::vector<double>{1, 2, 3}, std::vector<double>{3, 2, 1},
                                          std::vector<double>{1, 2}, std::vector<double>{}}) {
    const auto q = find_local_peak(none);
    EXPECT_EQ(std::pair(q.value, q.place), std::pair(kMinusInf, kMinusInf));
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
  const auto kept = keep_inner_beats({{200, 201, 500, 799, 800}, {1, 2, 1, 2, 1}}, 1000, 200.0);
  EXPECT_EQ(kept.rpeaks, (std::vector<double>{201, 500, 799}));
  EXPECT_EQ(kept.beatClass, (std::vector<double>{2, 1, 2}));
  EXPECT_TRUE(keep_inner_beats(kUnusable, 1000, 200.0).rpeaks.empty());
  EXPECT_TRUE(keep_inner_beats({{200, 201}, {1, 1}}, 401, 200.0).rpeaks.empty());  // 2 fs + 1 samples
}

TEST(ShortRrFlag, ThresholdIsStrictAtPointThreeSeconds) {
  // Five coarse peaks: four intervals. (At exactly 0.3 s the rounding of the
  // summed intervals decides; with 10 to 28 intervals the mean of the
  // reciprocal-scaled intervals falls one unit below 0.3 and the flag is 1.)
  EXPECT_TRUE(rr_is_short(std::vector<double>{100, 150, 200, 250, 300}, 200.0));   // 0.25 s
  EXPECT_FALSE(rr_is_short(std::vector<double>{100, 160, 220, 280, 340}, 200.0));  // 0.3 s
  EXPECT_FALSE(rr_is_short(std::vector<double>{100.0}, 200.0));
  EXPECT_FALSE(rr_is_short(std::vector<double>{}, 200.0));
  EXPECT_TRUE(rr_is_short(std::vector<double>{0.0, 0.0, 0.0}, 200.0));  // no accepted coarse peak
}
