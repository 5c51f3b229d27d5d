// Text handling the file readers share: whole-file reads whose errors name
// the file, field trimming, lower case and 0-based indices given as text.
#pragma once

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

#include "recording.hpp"

namespace zyn::recording {

inline std::string lower(std::string_view s) {
  std::string out(s);
  std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return out;
}

// Without surrounding spaces, tabs, carriage returns and double quotes.
inline std::string_view trim(std::string_view s) {
  const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '"'; };
  while (!s.empty() && blank(s.front())) s.remove_prefix(1);
  while (!s.empty() && blank(s.back())) s.remove_suffix(1);
  return s;
}

inline std::optional<std::size_t> parse_index(std::string_view s) {
  std::size_t value = 0;
  const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), value);
  if (ec != std::errc() || end != s.data() + s.size() || s.empty()) return std::nullopt;
  return value;
}

inline std::string read_bytes(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code ec;
  if (!fs::exists(path, ec)) throw InputError(path, "no such file");
  if (fs::is_directory(path, ec)) throw InputError(path, "is a folder, not a file");
  std::ifstream in(path, std::ios::binary);
  if (!in) throw InputError(path, "cannot open file (permission denied?)");
  std::ostringstream content;
  content << in.rdbuf();
  if (in.bad()) throw InputError(path, "read error");
  return content.str();
}

}  // namespace zyn::recording
