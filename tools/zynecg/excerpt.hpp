// Excerpts of WFDB records: the first seconds of one signal of a record,
// written as a new record (header, format-212 signal file, MIT annotation
// file cut to the same length) and as one-column CSV of the signal in
// millivolts resampled to 200 Hz.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "wfdb/annotations.hpp"

namespace zyn::cli {

struct ExcerptArgs {
  std::string record;
  double seconds = 600.0;
  std::string signal = "0";
  std::string name;
  std::string outDir = ".";
  std::vector<std::string> comments;
};

// Encodes 12-bit samples (-2048..2047) in format 212, two samples per three bytes.
std::vector<uint8_t> encode_format212(std::span<const int32_t> samples);

// Writes the excerpt files; returns the process exit status.
int write_excerpt(const ExcerptArgs& args);

}  // namespace zyn::cli
