// Reads a fuzzer's byte string as a little-endian record of fixed fields
// followed by a free payload. Fields past the end of the input read as zero,
// so every byte string is a valid input and the seed files stay readable.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
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
    const std::size_t n = std::min(sizeof(T), size_ - pos_);
    if (n > 0) std::memcpy(&value, data_ + pos_, n);
    pos_ += n;
    return value;
  }

  std::span<const uint8_t> rest() const { return {data_ + pos_, size_ - pos_}; }
  std::size_t remaining() const { return size_ - pos_; }

  // The next n bytes (fewer at the end).
  std::span<const uint8_t> bytes(std::size_t n) {
    const std::size_t k = std::min(n, size_ - pos_);
    std::span<const uint8_t> out(data_ + pos_, k);
    pos_ += k;
    return out;
  }

 private:
  const uint8_t* data_;
  std::size_t size_;
  std::size_t pos_ = 0;
};

}  // namespace zyn::fuzz
