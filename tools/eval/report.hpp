// Accuracy report of a beat-detection evaluation, as Markdown: gross and
// per-record sensitivity and positive predictivity, the split of reference
// normal and ventricular beats between normal and extra detections, and the
// noise stress results per signal-to-noise ratio.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "eval/match.hpp"

namespace zyn::eval {

// A counted error with the annotators' context at its time.
struct ErrorEvent {
  bool falsePositive = false;
  double seconds = 0.0;
  std::string label;       // false negative: reference beat symbol; false positive: "normal" or "extra"
  double nearestMs = 0.0;  // signed distance to the nearest beat of the other list
  std::string rhythm;      // rhythm in force ("(N", "(AFIB", ...), "" before the first
  bool noisy = false;      // the analysed lead was marked noisy or unreadable
  bool flutter = false;    // inside an episode of ventricular flutter or fibrillation
};

struct RecordResult {
  std::string record;
  std::string signal;          // description of the analysed signal
  std::string noiseLevel;      // "24 dB" for noise stress records, else empty
  Score score;
  int32_t overallQuality = 0;
  int32_t shortRrFlag = 0;
  std::size_t windows = 0;     // quality windows rated
  std::size_t goodWindows = 0; // of which coded 0 (good)
  std::size_t normalPeaks = 0;
  std::size_t extraPeaks = 0;
  double loadSeconds = 0.0;    // reading and resampling
  double detectSeconds = 0.0;  // wave detection
  std::vector<ErrorEvent> errors;
};

struct DatabaseRun {
  std::string folder;
  ScoringInterval scoring;  // relative: from = seconds skipped at the start, to = at the end
  std::vector<RecordResult> records;
  double wallSeconds = 0.0;
};

// Records of the MIT-BIH Arrhythmia Database with paced rhythm, left out of
// the non-paced totals.
const std::set<std::string>& paced_records();

// Sum of the scores of the records for which keep(record) holds.
template <class Keep>
Score gross_score(const std::vector<RecordResult>& records, Keep keep) {
  Score total;
  for (const RecordResult& r : records)
    if (keep(r)) total += r.score;
  return total;
}

// Section on an annotated database (all records, and without paced records).
std::string database_section(const DatabaseRun& run);

// Section on a noise stress database, grouped by signal-to-noise ratio.
std::string noise_section(const DatabaseRun& run);

// The whole document: the sections given, the command that produced them,
// how the counting was done, optional hand-written notes (Markdown, placed
// after the tables) and the attribution the data requires.
std::string accuracy_document(const DatabaseRun* arrhythmia, const DatabaseRun* noise,
                              const std::string& command, const std::string& notes = "");

// Records below the 99.5 % target and where their errors fall.
std::string error_breakdown(const std::vector<RecordResult>& records);

// Every error of every record as CSV (header line first).
std::string errors_csv(const std::vector<const DatabaseRun*>& runs);

// Percentage with two decimals, "-" for NaN.
std::string format_percent(double value);

}  // namespace zyn::eval
