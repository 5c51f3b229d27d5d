// Beat-by-beat comparison (see match.hpp).
#include "eval/match.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>

namespace zyn::eval {
namespace {

struct Candidate {
  double distance;
  std::size_t ref;
  std::size_t det;
};

// Every reference-detection pair closer than the window, closest first; ties
// go to the earlier reference beat, then the earlier detection.
std::vector<Candidate> candidate_pairs(std::span<const ReferenceBeat> reference,
                                       std::span<const DetectedBeat> detected, double window) {
  std::vector<Candidate> pairs;
  std::size_t first = 0;
  for (std::size_t r = 0; r < reference.size(); ++r) {
    const double t = reference[r].seconds;
    while (first < detected.size() && detected[first].seconds < t - window) ++first;
    for (std::size_t d = first; d < detected.size() && detected[d].seconds <= t + window; ++d)
      pairs.push_back({std::abs(detected[d].seconds - t), r, d});
  }
  std::sort(pairs.begin(), pairs.end(), [](const Candidate& a, const Candidate& b) {
    return std::tie(a.distance, a.ref, a.det) < std::tie(b.distance, b.ref, b.det);
  });
  return pairs;
}

double percent(int64_t part, int64_t whole) {
  if (whole == 0) return std::numeric_limits<double>::quiet_NaN();
  return 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

}  // namespace

BeatGroup group_of(int annotationCode) {
  switch (annotationCode) {
    case 1: case 2: case 3: case 34: case 11:  // N L R e j
      return BeatGroup::Normal;
    case 5:  // V
      return BeatGroup::Ventricular;
    default:
      return BeatGroup::Other;
  }
}

GroupSplit& GroupSplit::operator+=(const GroupSplit& other) {
  asNormal += other.asNormal;
  asExtra += other.asExtra;
  missed += other.missed;
  return *this;
}

double Score::sensitivity() const { return percent(truePositives, truePositives + falseNegatives); }

double Score::positivePredictivity() const {
  return percent(truePositives, truePositives + falsePositives);
}

Score& Score::operator+=(const Score& other) {
  truePositives += other.truePositives;
  falseNegatives += other.falseNegatives;
  falsePositives += other.falsePositives;
  normal += other.normal;
  ventricular += other.ventricular;
  return *this;
}

Score score_beats(std::span<const ReferenceBeat> reference, std::span<const DetectedBeat> detected,
                  const ScoringInterval& interval, double matchWindowSeconds,
                  std::vector<Mismatch>* mismatches) {
  constexpr std::size_t kUnpaired = std::numeric_limits<std::size_t>::max();
  std::vector<std::size_t> detectionOf(reference.size(), kUnpaired);
  std::vector<bool> detectionPaired(detected.size(), false);
  for (const Candidate& c : candidate_pairs(reference, detected, matchWindowSeconds)) {
    if (detectionOf[c.ref] != kUnpaired || detectionPaired[c.det]) continue;
    detectionOf[c.ref] = c.det;
    detectionPaired[c.det] = true;
  }

  Score score;
  for (std::size_t r = 0; r < reference.size(); ++r) {
    if (!interval.contains(reference[r].seconds)) continue;
    const bool found = detectionOf[r] != kUnpaired;
    (found ? score.truePositives : score.falseNegatives) += 1;
    GroupSplit* split = reference[r].group == BeatGroup::Normal        ? &score.normal
                        : reference[r].group == BeatGroup::Ventricular ? &score.ventricular
                                                                       : nullptr;
    if (!found && mismatches != nullptr) mismatches->push_back({false, r});
    if (split == nullptr) continue;
    if (!found) ++split->missed;
    else if (detected[detectionOf[r]].extra) ++split->asExtra;
    else ++split->asNormal;
  }
  for (std::size_t d = 0; d < detected.size(); ++d)
    if (!detectionPaired[d] && interval.contains(detected[d].seconds)) {
      ++score.falsePositives;
      if (mismatches != nullptr) mismatches->push_back({true, d});
    }
  return score;
}

}  // namespace zyn::eval
