// Compact embedding of the ECG in the report. See report_signal.hpp.
#include "report_signal.hpp"

#include <algorithm>
#include <climits>
#include <cmath>
#include <stdexcept>
#include <vector>

namespace zyn::cli {
namespace {

constexpr char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
// Quantised values stay well inside 32 bits so that steps never overflow.
constexpr double kLargestSteps = 1 << 30;

// Appends base64 text of bytes to out, writing into storage sized once.
void append_base64(std::string& out, const uint8_t* bytes, std::size_t n) {
  const std::size_t at = out.size();
  out.resize(at + (n + 2) / 3 * 4);
  char* o = out.data() + at;
  std::size_t i = 0;
  for (; i + 3 <= n; i += 3) {
    const uint32_t v = (uint32_t{bytes[i]} << 16) | (uint32_t{bytes[i + 1]} << 8) | bytes[i + 2];
    *o++ = kBase64[v >> 18];
    *o++ = kBase64[(v >> 12) & 63];
    *o++ = kBase64[(v >> 6) & 63];
    *o++ = kBase64[v & 63];
  }
  if (const std::size_t rest = n - i; rest > 0) {
    const uint32_t v = (uint32_t{bytes[i]} << 16) | (rest == 2 ? uint32_t{bytes[i + 1]} << 8 : 0u);
    *o++ = kBase64[v >> 18];
    *o++ = kBase64[(v >> 12) & 63];
    *o++ = rest == 2 ? kBase64[(v >> 6) & 63] : '=';
    *o++ = '=';
  }
}

// Writes one code at o (at most 10 bytes); returns the end.
uint8_t* put_code(uint8_t* o, uint64_t code) {
  while (code >= 0x80) {
    *o++ = static_cast<uint8_t>(code | 0x80);
    code >>= 7;
  }
  *o++ = static_cast<uint8_t>(code);
  return o;
}

}  // namespace

void append_encoded_signal(std::string& out, std::span<const double> samples, double rateHz, double unitsPerStep) {
  const auto chunk = static_cast<std::size_t>(std::llround(kSignalChunkSeconds * rateHz));
  constexpr std::size_t kLongestCodeBytes = 10;
  std::vector<uint8_t> bytes(chunk * kLongestCodeBytes);
  out.reserve(out.size() + samples.size() * 4 / 3 + samples.size() / chunk * 8 + 16);
  const double stepsPerUnit = 1.0 / unitsPerStep;
  for (std::size_t first = 0; first < samples.size(); first += chunk) {
    uint8_t* o = bytes.data();
    int64_t previous = 0;
    for (const double x : samples.subspan(first, std::min(chunk, samples.size() - first))) {
      if (std::isnan(x)) {
        *o++ = 0;
        continue;
      }
      // Rounded half away from zero; the clamp keeps infinities in range.
      const double y = std::clamp(x * stepsPerUnit, -kLargestSteps, kLargestSteps);
      const auto steps = static_cast<int64_t>(y + (y >= 0 ? 0.5 : -0.5));
      const int64_t delta = steps - previous;
      previous = steps;
      o = put_code(o, (delta >= 0 ? static_cast<uint64_t>(delta) << 1 : (static_cast<uint64_t>(-delta) << 1) - 1) + 1);
    }
    append_base64(out, bytes.data(), static_cast<std::size_t>(o - bytes.data()));
    out += '\n';
  }
}

std::vector<int32_t> decode_signal_chunk(const std::string& line) {
  std::vector<uint8_t> bytes;
  uint32_t acc = 0;
  int bits = 0;
  for (const char c : line) {
    if (c == '=') break;
    const char* at = std::find(kBase64, kBase64 + 64, c);
    if (at == kBase64 + 64) throw std::invalid_argument("not base64");
    acc = (acc << 6) | static_cast<uint32_t>(at - kBase64);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      bytes.push_back(static_cast<uint8_t>(acc >> bits));
    }
  }
  std::vector<int32_t> values;
  int64_t value = 0;
  for (std::size_t i = 0; i < bytes.size();) {
    uint64_t code = 0;
    for (int shift = 0;; shift += 7) {
      const uint8_t b = bytes.at(i++);
      code |= uint64_t{b & 0x7fu} << shift;
      if ((b & 0x80) == 0) break;
    }
    if (code == 0) {
      values.push_back(INT32_MIN);
      continue;
    }
    const uint64_t z = code - 1;
    value += (z & 1) ? -static_cast<int64_t>((z + 1) >> 1) : static_cast<int64_t>(z >> 1);
    values.push_back(static_cast<int32_t>(value));
  }
  return values;
}

}  // namespace zyn::cli
