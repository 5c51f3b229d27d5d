// WFDB signal files (.dat) in formats 212 and 16, and whole records.
//
// Format 212 packs two 12-bit two's-complement samples into three bytes;
// format 16 stores one 16-bit little-endian two's-complement sample in two
// bytes. Samples of the signals sharing a file are interleaved frame by frame.
// Samples are returned as raw ADC units, one vector per signal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "wfdb/header.hpp"

namespace zyn::wfdb {

// Decodes count interleaved format-212 values from bytes (which must hold at
// least bytes_for_212(count) bytes).
std::vector<int32_t> decode_format212(std::span<const uint8_t> bytes, std::size_t count);
std::size_t bytes_for_212(std::size_t count);

// Decodes count format-16 values from bytes (at least 2 * count bytes).
std::vector<int32_t> decode_format16(std::span<const uint8_t> bytes, std::size_t count);

struct ReadOptions {
  // Compare the 16-bit sum of each signal with the header's checksum.
  bool verifyChecksums = true;
};

struct Record {
  Header header;
  std::vector<std::vector<int32_t>> samples;  // [signal][sample], ADC units
};

// Reads every signal of the header from files in directory.
std::vector<std::vector<int32_t>> read_samples(Header& header,
                                               const std::filesystem::path& directory,
                                               const ReadOptions& options = {});

// Reads directory/name.hea and its signal files. When the header gives no
// sample count, it is taken from the signal file's size.
Record read_record(const std::filesystem::path& directory, const std::string& name,
                   const ReadOptions& options = {});

// Signal in physical units, (sample - baseline) / gain.
std::vector<double> physical_signal(const Record& record, std::size_t signalIndex);

// Reads one signal of the header's record from its file in directory without
// holding the file whole: checks the file's size against the sample count
// (taking the count from the size into header.numSamples when the header
// gives none), calls begin, then hands consume the signal in physical units
// (as physical_signal gives them), at most framesPerChunk samples at a time.
// The checksums of the signals sharing that file are compared after the
// last chunk; the record's other files are not read.
void stream_physical_signal(Header& header, const std::filesystem::path& directory, std::size_t signalIndex,
                            std::size_t framesPerChunk, const std::function<void()>& begin,
                            const std::function<void(std::span<const double>)>& consume,
                            const ReadOptions& options = {});

}  // namespace zyn::wfdb
