// Beat-by-beat comparison of detected R peaks with reference beat
// annotations, as the ANSI/AAMI EC57 QRS detection test counts them.
//
// Times are in seconds from the start of the record. Each reference beat is
// paired with at most one detection and each detection with at most one
// reference beat, closest pairs first, within the matching window (150 ms).
// Only beats inside the scoring interval are counted: a reference beat there
// is a true positive when paired and a false negative otherwise; a detection
// there that pairs with no reference beat is a false positive.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace zyn::eval {

inline constexpr double kMatchWindowSeconds = 0.150;

// Reference beat groups whose split between normal and extra detections is reported.
enum class BeatGroup : uint8_t {
  Normal,       // N L R e j
  Ventricular,  // V
  Other,        // every other beat code
};

// Group of a WFDB beat annotation code.
BeatGroup group_of(int annotationCode);

struct ReferenceBeat {
  double seconds = 0.0;
  BeatGroup group = BeatGroup::Normal;
};

struct DetectedBeat {
  double seconds = 0.0;
  bool extra = false;  // reported among the extra systoles, not the normal beats
};

struct ScoringInterval {
  double fromSeconds = 0.0;  // inclusive
  double toSeconds = 0.0;    // exclusive
  bool contains(double t) const { return t >= fromSeconds && t < toSeconds; }
};

// How the reference beats of one group were detected.
struct GroupSplit {
  int64_t asNormal = 0;
  int64_t asExtra = 0;
  int64_t missed = 0;
  GroupSplit& operator+=(const GroupSplit& other);
};

struct Score {
  int64_t truePositives = 0;
  int64_t falseNegatives = 0;
  int64_t falsePositives = 0;
  GroupSplit normal;       // reference N L R e j
  GroupSplit ventricular;  // reference V

  int64_t referenceBeats() const { return truePositives + falseNegatives; }
  // Sensitivity TP / (TP + FN) and positive predictivity TP / (TP + FP), in
  // percent; NaN when the denominator is 0.
  double sensitivity() const;
  double positivePredictivity() const;
  Score& operator+=(const Score& other);
};

// One counted error: an unpaired reference beat (false negative) or an
// unpaired detection (false positive), by its index in its list.
struct Mismatch {
  bool falsePositive = false;
  std::size_t index = 0;
};

// Scores detections against reference beats; both must be sorted by time.
// When mismatches is given, every counted error is appended to it.
Score score_beats(std::span<const ReferenceBeat> reference, std::span<const DetectedBeat> detected,
                  const ScoringInterval& interval, double matchWindowSeconds = kMatchWindowSeconds,
                  std::vector<Mismatch>* mismatches = nullptr);

}  // namespace zyn::eval
