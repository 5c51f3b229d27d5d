// Readers of WFDB signal files (formats 212 and 16). See signals.hpp.
#include "wfdb/signals.hpp"

#include <cstdint>
#include <algorithm>
#include <fstream>
#include <numeric>

#include "wfdb/error.hpp"

namespace zyn::wfdb {
namespace {

int32_t sign_extend_12(int32_t value) { return value >= 2048 ? value - 4096 : value; }

// Size of the opened file in bytes; the stream is left at its start.
std::size_t open_and_measure(std::ifstream& in, const std::filesystem::path& path) {
  if (!in) throw Error(path.string(), "cannot open file");
  in.seekg(0, std::ios::end);
  const std::streamoff size = in.tellg();
  in.seekg(0, std::ios::beg);
  if (size < 0) throw Error(path.string(), "cannot determine file size");
  return static_cast<std::size_t>(size);
}

std::vector<uint8_t> read_binary_file(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  const std::size_t size = open_and_measure(in, path);
  std::vector<uint8_t> bytes(size);
  if (!bytes.empty() && !in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size)))
    throw Error(path.string(), "read error");
  return bytes;
}

std::size_t bytes_for(int format, std::size_t count) {
  return format == 212 ? bytes_for_212(count) : 2 * count;
}

// Largest number of values of the format that fit in byteCount bytes.
std::size_t values_in(int format, std::size_t byteCount) {
  return format == 212 ? (byteCount / 3) * 2 + (byteCount % 3 >= 2 ? 1 : 0) : byteCount / 2;
}

// Signals sharing one file: indices [first, first + count) of the header.
struct FileGroup {
  std::size_t first = 0;
  std::size_t count = 0;
};

std::vector<FileGroup> group_by_file(const Header& header, const std::string& source) {
  std::vector<FileGroup> groups;
  for (std::size_t i = 0; i < header.signals.size(); ++i) {
    const SignalSpec& spec = header.signals[i];
    if (!groups.empty() && header.signals[groups.back().first].fileName == spec.fileName) {
      const SignalSpec& lead = header.signals[groups.back().first];
      if (spec.format != lead.format)
        throw Error(source, "signals " + std::to_string(groups.back().first) + " and " +
                                std::to_string(i) + " share file " + spec.fileName +
                                " but have different formats");
      ++groups.back().count;
      continue;
    }
    for (const FileGroup& g : groups)
      if (header.signals[g.first].fileName == spec.fileName)
        throw Error(source, "signals of file " + spec.fileName + " are not consecutive");
    groups.push_back({i, 1});
  }
  return groups;
}

// Samples per signal of the file holding group, of fileSize bytes: the
// header's count, checked against the size, or (when the header gives none)
// the count the size holds, which is then written into the header.
std::size_t checked_sample_count(Header& header, const FileGroup& group, const std::filesystem::path& path,
                                 std::size_t fileSize) {
  const SignalSpec& lead = header.signals[group.first];
  const auto offset = static_cast<std::size_t>(lead.byteOffset);
  if (fileSize < offset)
    throw Error(path.string(), "file is shorter than its byte offset " + std::to_string(offset));
  const std::size_t available = fileSize - offset;
  if (header.numSamples == 0)
    header.numSamples = static_cast<long>(values_in(lead.format, available) / group.count);
  // Compared by division: the header's sample count times the signal count
  // (and the bytes that needs) may not fit in 64 bits.
  const auto perSignal = static_cast<std::size_t>(header.numSamples);
  if (perSignal > values_in(lead.format, available) / group.count) {
    const std::string needed =
        perSignal > (SIZE_MAX / 2 - offset) / group.count
            ? std::string("more than 2^63")
            : std::to_string(bytes_for(lead.format, perSignal * group.count) + offset);
    throw Error(path.string(), "truncated: " + std::to_string(header.numSamples) + " samples of " +
                                   std::to_string(group.count) + " signal(s) in format " +
                                   std::to_string(lead.format) + " need " + needed +
                                   " bytes, file has " + std::to_string(fileSize));
  }
  return perSignal;
}

void check_supported(const SignalSpec& spec, const std::string& source) {
  if (spec.format != 212 && spec.format != 16)
    throw Error(source, "signal format " + std::to_string(spec.format) + " of file " +
                            spec.fileName + " is not supported (only 212 and 16)");
  if (spec.samplesPerFrame != 1 || spec.skew != 0)
    throw Error(source, "file " + spec.fileName +
                            ": multiple samples per frame and skew are not supported");
}

uint16_t add_to_checksum(uint16_t sum, int32_t sample) {
  return static_cast<uint16_t>(sum + static_cast<uint16_t>(sample));
}

void verify_checksum(uint16_t sum, const SignalSpec& spec, std::size_t index, const std::string& source) {
  if (!spec.checksum) return;
  const int32_t signedSum = sum >= 0x8000 ? static_cast<int32_t>(sum) - 0x10000 : sum;
  if (signedSum != *spec.checksum)
    throw Error(source, "checksum of signal " + std::to_string(index) + " (" + spec.description +
                            ") is " + std::to_string(signedSum) + " but the header says " +
                            std::to_string(*spec.checksum));
}

}  // namespace

std::size_t bytes_for_212(std::size_t count) { return (count / 2) * 3 + (count % 2) * 2; }

std::vector<int32_t> decode_format212(std::span<const uint8_t> bytes, std::size_t count) {
  std::vector<int32_t> values(count);
  for (std::size_t k = 0; k < count; ++k) {
    const std::size_t base = (k / 2) * 3;
    const int32_t middle = bytes[base + 1];
    const int32_t value = (k % 2 == 0) ? (bytes[base] | ((middle & 0x0F) << 8))
                                       : (bytes[base + 2] | ((middle & 0xF0) << 4));
    values[k] = sign_extend_12(value);
  }
  return values;
}

std::vector<int32_t> decode_format16(std::span<const uint8_t> bytes, std::size_t count) {
  std::vector<int32_t> values(count);
  for (std::size_t k = 0; k < count; ++k) {
    const auto raw = static_cast<uint16_t>(bytes[2 * k] | (bytes[2 * k + 1] << 8));
    values[k] = static_cast<int16_t>(raw);
  }
  return values;
}

std::vector<std::vector<int32_t>> read_samples(Header& header,
                                               const std::filesystem::path& directory,
                                               const ReadOptions& options) {
  const std::string headerName = (directory / (header.recordName + ".hea")).string();
  std::vector<std::vector<int32_t>> samples(header.signals.size());
  for (const FileGroup& group : group_by_file(header, headerName)) {
    const SignalSpec& lead = header.signals[group.first];
    check_supported(lead, headerName);
    const std::filesystem::path path = directory / lead.fileName;
    const std::vector<uint8_t> bytes = read_binary_file(path);
    const auto perSignal = checked_sample_count(header, group, path, bytes.size());
    const auto offset = static_cast<std::size_t>(lead.byteOffset);
    const std::size_t available = bytes.size() - offset;
    const std::size_t count = perSignal * group.count;
    const std::span<const uint8_t> data(bytes.data() + offset, available);
    const std::vector<int32_t> interleaved =
        lead.format == 212 ? decode_format212(data, count) : decode_format16(data, count);
    for (std::size_t s = 0; s < group.count; ++s) {
      std::vector<int32_t>& out = samples[group.first + s];
      out.resize(static_cast<std::size_t>(header.numSamples));
      for (std::size_t t = 0; t < out.size(); ++t) out[t] = interleaved[t * group.count + s];
    }
  }
  if (options.verifyChecksums)
    for (std::size_t i = 0; i < samples.size(); ++i)
      verify_checksum(std::accumulate(samples[i].begin(), samples[i].end(), uint16_t{0}, add_to_checksum),
                      header.signals[i], i, headerName);
  return samples;
}

Record read_record(const std::filesystem::path& directory, const std::string& name,
                   const ReadOptions& options) {
  Record record;
  record.header = read_header(directory / (name + ".hea"));
  record.samples = read_samples(record.header, directory, options);
  return record;
}

std::vector<double> physical_signal(const Record& record, std::size_t signalIndex) {
  const SignalSpec& spec = record.header.signals.at(signalIndex);
  const std::vector<int32_t>& adc = record.samples.at(signalIndex);
  std::vector<double> values(adc.size());
  for (std::size_t t = 0; t < adc.size(); ++t) values[t] = to_physical(adc[t], spec);
  return values;
}

void stream_physical_signal(Header& header, const std::filesystem::path& directory, std::size_t signalIndex,
                            std::size_t framesPerChunk, const std::function<void()>& begin,
                            const std::function<void(std::span<const double>)>& consume,
                            const ReadOptions& options) {
  const std::string headerName = (directory / (header.recordName + ".hea")).string();
  const std::vector<FileGroup> groups = group_by_file(header, headerName);
  for (const FileGroup& g : groups) check_supported(header.signals[g.first], headerName);
  const FileGroup group = *std::find_if(groups.begin(), groups.end(), [&](const FileGroup& g) {
    return signalIndex >= g.first && signalIndex < g.first + g.count;
  });
  const SignalSpec& lead = header.signals.at(group.first);
  const SignalSpec& spec = header.signals.at(signalIndex);
  const std::size_t column = signalIndex - group.first;
  const std::filesystem::path path = directory / lead.fileName;
  std::ifstream in(path, std::ios::binary);
  const std::size_t frames = checked_sample_count(header, group, path, open_and_measure(in, path));
  begin();
  in.seekg(static_cast<std::streamoff>(lead.byteOffset));
  // An even number of frames holds an even number of format-212 values,
  // so every chunk but the last ends on a whole 3-byte pair.
  const std::size_t chunkFrames = std::max<std::size_t>(2, framesPerChunk & ~std::size_t{1});
  std::vector<uint8_t> bytes;
  std::vector<double> physical;
  std::vector<uint16_t> sums(group.count, 0);
  for (std::size_t done = 0; done < frames;) {
    const std::size_t n = std::min(chunkFrames, frames - done);
    const std::size_t count = n * group.count;
    bytes.resize(bytes_for(lead.format, count));
    if (!in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size())))
      throw Error(path.string(), "read error");
    const std::vector<int32_t> values =
        lead.format == 212 ? decode_format212(bytes, count) : decode_format16(bytes, count);
    for (std::size_t k = 0; k < count; ++k) sums[k % group.count] = add_to_checksum(sums[k % group.count], values[k]);
    physical.resize(n);
    for (std::size_t t = 0; t < n; ++t) physical[t] = to_physical(values[t * group.count + column], spec);
    consume(physical);
    done += n;
  }
  if (options.verifyChecksums)
    for (std::size_t s = 0; s < group.count; ++s)
      verify_checksum(sums[s], header.signals[group.first + s], group.first + s, headerName);
}

}  // namespace zyn::wfdb
