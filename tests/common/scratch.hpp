// A scratch folder removed at the end of each test, and whole-file writes
// and reads, shared by the reader and tool tests.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>

namespace zyn::testing {

namespace fs = std::filesystem;

inline std::string write_text(const fs::path& path, std::string_view text) {
  std::ofstream(path, std::ios::binary) << text;
  return path.string();
}

inline std::string read_text(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class ScratchDir {
 public:
  ScratchDir() {
    std::random_device seed;
    path_ = fs::temp_directory_path() / ("zyn-test-" + std::to_string(seed()));
    fs::create_directories(path_);
  }
  ~ScratchDir() {
    std::error_code ec;
    fs::remove_all(path_, ec);
  }
  ScratchDir(const ScratchDir&) = delete;
  ScratchDir& operator=(const ScratchDir&) = delete;
  fs::path operator/(std::string_view name) const { return path_ / name; }
  const fs::path& path() const { return path_; }
  std::string write(std::string_view name, std::string_view bytes) const { return write_text(path_ / name, bytes); }

 private:
  fs::path path_;
};

}  // namespace zyn::testing
