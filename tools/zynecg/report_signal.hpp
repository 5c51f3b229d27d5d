// The ECG as the report embeds it: 200 Hz samples quantised to whole steps
// of the signal's units and stored per chunk of seconds as base64 text of
// variable-length codes, one line per chunk, so that the page decodes only
// the chunks it draws. Within a chunk each code is 1 + the zigzag form of
// the step from the previous sample (the first from 0), 7 bits a byte with
// the high bit set on all but the last byte; code 0 marks a missing (NaN)
// sample. A flat or slowly changing ECG takes one byte a sample.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zyn::cli {

inline constexpr double kSignalChunkSeconds = 60.0;

// Appends the chunks of samples (rateHz samples a second), each quantised to
// a whole multiple of unitsPerStep, to out as base64 lines ending in '\n'.
void append_encoded_signal(std::string& out, std::span<const double> samples, double rateHz, double unitsPerStep);

// The inverse, for the tests: the quantised steps of one chunk line
// (INT32_MIN for a missing sample).
std::vector<int32_t> decode_signal_chunk(const std::string& base64Line);

}  // namespace zyn::cli
