// Beats as MIT-format annotations. See beat_annotations.hpp.
#include "beat_annotations.hpp"

#include <cstdio>
#include <string_view>

#include "output.hpp"

namespace zyn::cli {
namespace {

// The note's text, which the WFDB readers parse for the annotation rate.
std::string time_resolution_note(double fsHz) {
  char text[64];
  std::snprintf(text, sizeof text, "## time resolution: %.12g", fsHz);
  return text;
}

}  // namespace

std::vector<wfdb::Annotation> beat_annotations(const RecordingAnalysis& f, bool rateFromOption) {
  std::vector<wfdb::Annotation> annotations;
  if (f.recording.format != "wfdb" || rateFromOption)
    annotations.push_back({0, kNoteCode, 0, 0, 0, time_resolution_note(f.recording.fsHz)});
  for (const recording::Beat& b : f.beats)
    annotations.push_back({f.file_sample(b.sample), b.extra ? kExtraSystoleCode : kNormalBeatCode, 0, 0, 0, ""});
  return annotations;
}

void write_beat_annotations(const std::filesystem::path& path, const RecordingAnalysis& f, bool rateFromOption) {
  const std::vector<uint8_t> bytes = wfdb::encode_annotations(beat_annotations(f, rateFromOption));
  write_file_atomically(path, std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

}  // namespace zyn::cli
