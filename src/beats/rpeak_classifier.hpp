// R-peak detection straight from the samples and two-class beat labelling.
#pragma once

#include <cstddef>
#include <span>
#include <vector>


namespace zyn::beats {

struct ClassifiedBeats {
  std::vector<double> rpeaks;     // 1-based positions, ascending, distinct
  std::vector<double> beatClass;  // 1 majority morphology, 2 the other; [0] when unusable
};

// Detects and classifies the beats of ecg (modified in place: median-centred
// and baseline-corrected). Unusable input gives rpeaks = [0], beatClass = [0].
ClassifiedBeats analyze_ecg_r(std::vector<double>& ecg, double fs);
// The same on input left as it is, the baseline-corrected signal going to
// ecg (of the input's length; it may be the input's own array).
ClassifiedBeats analyze_ecg_r(std::span<const double> input, std::span<double> ecg, double fs);

struct LocalPeak {
  double value;  // -inf when x has no local maximum
  double place;  // 1-based place in x, -inf when none
};

// The two class lists of the classifier: positions (class 1 in order of
// acceptance); non-positive and minus-infinite entries may occur.
struct Classes {
  std::vector<double> normal;
  std::vector<double> other;
};

// Output assembly: one ascending list of distinct positive positions, label 1
// for a position in the class-1 list (also when it is in both), 2 otherwise;
// labels swap when class 2 holds more than half of the beats.
ClassifiedBeats assemble(const Classes& classes);

// The R peak of a candidate segment y: the turning-point maximum (a rise into
// it, no rise after it) whose rise from the minimum before it plus 1.9 times
// its fall to the minimum after it is largest, the first of equal scores;
// 1-based place in y, 0 when no maximum qualifies. The scratch arrays are
// reused from one segment to the next.
struct TurningPointScratch {
  std::vector<unsigned char> code;
  std::vector<std::size_t> places;
};
std::ptrdiff_t best_scored_maximum(std::span<const double> y, TurningPointScratch& scratch);

// The highest local maximum (a rise followed by a non-rise) of x, the first
// of equal values.
LocalPeak find_local_peak(std::span<const double> x);

}  // namespace zyn::beats
