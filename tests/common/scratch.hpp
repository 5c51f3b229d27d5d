// A scratch folder removed at the end of each test, whole-file writes and
// reads, the message a failing call throws and the folder of real
// recordings, shared by the reader and tool tests.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <utility>

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

// The message of the exception of type E that f throws ("" if none).
template <class E, class F>
std::string error_of(F&& f) {
  try {
    std::forward<F>(f)();
  } catch (const E& e) {
    return e.what();
  }
  return "";
}

// The real recordings (MIT-BIH and others); tests that need them skip when they are absent.
inline fs::path data_dir() { return ZYN_DATA_DIR; }
inline bool have_mitdb() { return fs::exists(data_dir() / "mitdb" / "100.hea"); }
#define ZYN_REQUIRE_MITDB() \
  if (!::zyn::testing::have_mitdb()) GTEST_SKIP() << "no MIT-BIH data in " << ZYN_DATA_DIR

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

 private:
  fs::path path_;
};

}  // namespace zyn::testing
