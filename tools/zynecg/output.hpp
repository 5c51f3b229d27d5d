// What the tool writes: the JSON document of an analysis (every field of the
// library's results plus the merged beats and the meaning of each code), the
// short human summary, the batch summary CSV, and files written under a
// temporary name and renamed so that no half-written output remains.
#pragma once

#include <nlohmann/json.hpp>

#include <filesystem>
#include <string>
#include <string_view>

#include "analyse_recording.hpp"

namespace zyn::cli {

using namespace ::zyn::recording;

nlohmann::ordered_json to_json(const RecordingAnalysis& f);

// A few lines for a person: rates, beats, quality, HRV statistics with units.
std::string human_summary(const RecordingAnalysis& f);

// One CSV line per file; failed files carry their error message.
std::string summary_csv_header();
std::string summary_csv_line(const std::string& file, const RecordingAnalysis* f, const std::string& failure);

// Writes content to path.tmp-<pid> in the same folder, then renames it over
// path. Creates missing parent folders. Throws std::runtime_error naming the
// path on failure.
void write_file_atomically(const std::filesystem::path& path, std::string_view content);

}  // namespace zyn::cli
