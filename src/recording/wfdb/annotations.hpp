// MIT-format annotation files (.atr and friends).
//
// The file is a sequence of 16-bit little-endian words: the top 6 bits are a
// code, the low 10 bits a value. Codes 1..49 are annotations placed the value's
// number of samples after the previous one; 59 (SKIP) adds the following
// signed 32-bit interval to the next annotation's time; 60 (NUM), 61 (SUB),
// 62 (CHN) set the num, subtype and channel fields of the preceding annotation
// (num and channel carry over to later ones); 63 (AUX) attaches that many
// bytes of text, padded to an even length; a zero word ends the file.
#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zyn::wfdb {

struct Annotation {
  int64_t sample = 0;  // 0-based sample number of the record
  int code = 0;        // annotation type (1 N, 5 V, 28 rhythm, ...)
  int subtype = 0;
  int channel = 0;
  int num = 0;
  std::string aux;     // auxiliary text, without padding or trailing NULs
};

// Decodes an annotation file's bytes; source names it in error messages.
std::vector<Annotation> parse_annotations(std::span<const uint8_t> bytes, std::string_view source);

// Reads and decodes an annotation file.
std::vector<Annotation> read_annotations(const std::filesystem::path& path);

// WFDB mnemonic of an annotation code ("N", "V", "+", ...); "?" stands for
// the learning code 30, and an unknown code gives "".
std::string_view annotation_symbol(int code);

// True for the codes that mark a beat (QRS complex): N L R B A a J S V r F e j n E / f Q ?.
bool is_beat(int code);

}  // namespace zyn::wfdb
