// Shared by the fuzz targets. InputReader reads a fuzzer's byte string as a
// little-endian record of fixed fields followed by a free payload; fields past
// the end of the input read as zero, so every byte string is a valid input and
// the seed files stay readable. The scratch folder holds the files that the
// record and EDF targets hand to their readers (under TMPDIR, one per process).
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

namespace zyn::fuzz {

class InputReader {
 public:
  InputReader(const uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  template <class T>
  T take() {
    static_assert(std::is_trivially_copyable_v<T>);
    T value{};
    const auto field = bytes(sizeof(T));
    if (!field.empty()) std::memcpy(&value, field.data(), field.size());
    return value;
  }

  // The next n bytes (fewer at the end).
  std::span<const uint8_t> bytes(std::size_t n) {
    const std::size_t k = std::min(n, size_ - pos_);
    pos_ += k;
    return {data_ + pos_ - k, k};
  }

  std::span<const uint8_t> rest() const { return {data_ + pos_, size_ - pos_}; }
  std::size_t remaining() const { return size_ - pos_; }

 private:
  const uint8_t* data_;
  std::size_t size_;
  std::size_t pos_ = 0;
};

inline std::string_view as_text(std::span<const uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

inline const std::filesystem::path& scratch_folder() {
  static const std::filesystem::path folder = [] {
    auto p = std::filesystem::temp_directory_path() / ("zyn-fuzz-" + std::to_string(::getpid()));
    std::filesystem::create_directories(p);
    return p;
  }();
  return folder;
}

// Writes bytes to the scratch folder and returns the file's path.
inline std::filesystem::path write_scratch(const char* name, std::span<const uint8_t> bytes) {
  const auto path = scratch_folder() / name;
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return path;
}

}  // namespace zyn::fuzz
