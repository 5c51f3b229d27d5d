// The beats of an analysis as a MIT-format annotation file, the form the
// field's record tools read and compare: one annotation per beat at the
// file's own sample number, N for a normal beat and V for an extra systole.
// When the sample numbers do not follow a WFDB header's rate (CSV, EDF and raw
// files, or a rate given with --fs) the file opens with the note that states
// its time resolution, so that tools reading it count samples at that rate.
#pragma once

#include <filesystem>
#include <vector>

#include "analyse_recording.hpp"
#include "wfdb/annotations.hpp"

namespace zyn::cli {

inline constexpr int kNormalBeatCode = 1;     // N
inline constexpr int kExtraSystoleCode = 5;   // V
inline constexpr int kNoteCode = 22;          // a comment annotation

using recording::RecordingAnalysis;

// rateFromOption: the rate was given with --fs instead of read from the file.
std::vector<wfdb::Annotation> beat_annotations(const RecordingAnalysis& f, bool rateFromOption);

// Writes the encoded annotations under a temporary name, then renames.
void write_beat_annotations(const std::filesystem::path& path, const RecordingAnalysis& f, bool rateFromOption);

}  // namespace zyn::cli
