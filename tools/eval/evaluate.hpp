// Evaluation of the wave detection on one annotated WFDB record: reads the
// ECG lead, converts it to millivolts at 200 Hz, runs the detection once over
// the whole record and scores it against the record's reference beats.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "eval/report.hpp"

namespace zyn::eval {

struct EvaluationSettings {
  double skipStartSeconds = 1.0;  // beats before this are not scored
  double skipEndSeconds = 1.0;    // nor beats this close to the end
  int32_t qualityWindowSeconds = 10;
  std::string preferredSignal = "MLII";  // else the first signal
  std::string annotator = "atr";
};

// Records of a database folder: the names listed in its RECORDS file, or
// else of every header, in both cases only those with reference annotations.
std::vector<std::string> records_of(const std::filesystem::path& folder,
                                    const std::string& annotator);

RecordResult evaluate_record(const std::filesystem::path& folder, const std::string& name,
                             const EvaluationSettings& settings);

}  // namespace zyn::eval
