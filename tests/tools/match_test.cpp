// Beat-by-beat scoring of detections against reference beats, and the report
// built from the scores.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <tuple>

#include "eval/match.hpp"
#include "eval/report.hpp"

using namespace zyn::eval;

namespace {

constexpr BeatGroup kN = BeatGroup::Normal;
constexpr BeatGroup kV = BeatGroup::Ventricular;
const ScoringInterval kWhole{0.0, 1000.0};

std::tuple<int64_t, int64_t, int64_t> counts(const Score& s) {
  return {s.truePositives, s.falseNegatives, s.falsePositives};
}

bool contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

}  // namespace

TEST(BeatMatching, PairsOneToOneClosestFirstAndSplitsByClass) {
  const std::vector<ReferenceBeat> ref = {{1.0, kN}, {2.0, kV}, {3.0, kN}, {4.0, BeatGroup::Other}};
  // Two detections near 2.0 s: the closer one (reported extra) takes the
  // beat, the other is a false positive; 3.0 s is missed.
  const std::vector<DetectedBeat> det = {{1.02, false}, {1.95, false}, {2.01, true}, {3.5, false},
                                         {4.1, true}};
  std::vector<Mismatch> errors;
  const Score s = score_beats(ref, det, kWhole, kMatchWindowSeconds, &errors);
  ASSERT_EQ(errors.size(), 3u);
  // The missed beat at 3.0 s, then the farther detection near 2.0 s and the one at 3.5 s.
  EXPECT_EQ(std::tuple(errors[0].falsePositive, errors[0].index), std::tuple(false, 2u));
  EXPECT_EQ(std::tuple(errors[1].falsePositive, errors[1].index), std::tuple(true, 1u));
  EXPECT_EQ(errors[2].index, 3u);
  EXPECT_EQ(counts(s), std::tuple(3, 1, 2));
  EXPECT_EQ(std::tuple(s.normal.asNormal, s.normal.missed, s.ventricular.asExtra, s.ventricular.asNormal),
            std::tuple(1, 1, 1, 0));
  EXPECT_DOUBLE_EQ(s.sensitivity(), 75.0);
  EXPECT_DOUBLE_EQ(s.positivePredictivity(), 60.0);
}

// Detections 125 ms after and before a beat lie inside the 150 ms window and
// exactly on a 125 ms one (times exact in binary); 160 ms is outside. A
// reference at 0.95 s (outside [1, 9]) paired with a detection at 1.05 s
// (inside): neither counts. Unpaired detections outside are not false positives.
TEST(BeatMatching, WindowIsInclusiveOnBothSidesAndCountsOnlyInsideTheScoringInterval) {
  const std::vector<ReferenceBeat> ref = {{10.0, kN}, {20.0, kN}, {30.0, kN}};
  const std::vector<DetectedBeat> det = {{10.125, false}, {20.16, false}, {29.875, false}};
  EXPECT_EQ(counts(score_beats(ref, det, kWhole)), std::tuple(2, 1, 1));
  EXPECT_EQ(counts(score_beats(ref, det, kWhole, 0.125)), std::tuple(2, 1, 1));
  const std::vector<ReferenceBeat> edges = {{0.95, kN}, {5.0, kN}, {9.5, kN}};
  const std::vector<DetectedBeat> near = {{0.3, false}, {1.05, false}, {5.0, false}, {9.7, false}};
  EXPECT_EQ(counts(score_beats(edges, near, {1.0, 9.0})), std::tuple(1, 0, 0));
  const Score none = score_beats({}, {}, kWhole);
  EXPECT_TRUE(std::isnan(none.sensitivity()) && std::isnan(none.positivePredictivity()));
}

TEST(BeatMatching, GroupsFollowBeatCodes) {
  for (int code : {1, 2, 3, 11, 34}) EXPECT_EQ(group_of(code), kN) << code;
  EXPECT_EQ(group_of(5), kV);
  for (int code : {4, 6, 7, 8, 9, 10, 12, 13, 38}) EXPECT_EQ(group_of(code), BeatGroup::Other);
}

TEST(AccuracyReport, SumsRecordsLeavesPacedOutAndGroupsNoiseLevels) {
  const auto record = [](const std::string& name, const std::string& level, int64_t tp, int64_t fn, int64_t fp) {
    RecordResult r;
    r.record = name;
    r.signal = "MLII";
    r.noiseLevel = level;
    r.score.truePositives = tp;
    r.score.falseNegatives = fn;
    r.score.falsePositives = fp;
    return r;
  };
  DatabaseRun mit{"mitdb", {1.0, 1.0}, {record("100", "", 1000, 0, 0), record("102", "", 900, 100, 0)}, 2.0};
  const std::string section = database_section(mit);
  EXPECT_TRUE(contains(section, "| all records | 2 | 2000 | 1900 | 100 | 0 | 95.00 | 100.00 |"));
  EXPECT_TRUE(contains(section, "| 1 | 1000 | 1000 | 0 | 0 | 100.00 | 100.00 |"));
  EXPECT_TRUE(contains(section, "| 102 (paced) |"));
  EXPECT_TRUE(contains(section, "below 99.5 % in Se or +P: 102 (FN 100, FP 0)"));

  DatabaseRun nst{"nstdb", {300.0, 1.0},
                  {record("118e_6", "-6 dB", 50, 50, 30), record("118e24", "24 dB", 100, 0, 0),
                   record("119e24", "24 dB", 100, 0, 1)}, 1.0};
  const std::string noise = noise_section(nst);
  const auto clean = noise.find("| 24 dB | 2 | 200 | 200 | 0 | 1 | 100.00 | 99.50 |");
  const auto noisy = noise.find("| -6 dB | 1 | 100 | 50 | 50 | 30 | 50.00 | 62.50 |");
  ASSERT_NE(noisy, std::string::npos);
  EXPECT_LT(clean, noisy);  // the cleaner level first

  mit.records[1].errors = {{false, 3.0, "N", 200.0, "(N", true, false},
                           {false, 4.0, "V", 900.0, "(N", false, false},
                           {true, 5.0, "extra", -50.0, "(VFL", false, true}};
  EXPECT_TRUE(contains(error_breakdown(mit.records),
                       "| 102 | 100 | N 1, V 1 | 1 | 1 | 0 | 0 | 1 | 1 | 1 | (N 2, (VFL 1 |"));
  EXPECT_FALSE(contains(error_breakdown(mit.records), "\n| 100 |"));
  EXPECT_TRUE(contains(errors_csv({&mit}), "102,FP,5.000,extra,-50,(VFL,0,1\n"));

  // False detections inside ventricular flutter get a row of their own.
  mit.records[0].score.falsePositives = 2;
  mit.records[0].errors = {{true, 7.0, "normal", 400.0, "(VFL", false, true}};
  EXPECT_TRUE(contains(database_section(mit),
                       "| the same, detections inside ventricular flutter not counted (EC57 rule) | 1 | 1000 "
                       "| 1000 | 0 | 1 | 100.00 | 99.90 |"));

  EXPECT_TRUE(contains(accuracy_document(&mit, nullptr, "zynecg-eval --db x", "Why 102 fails."),
                       "## Discussion\n\nWhy 102 fails."));
}
