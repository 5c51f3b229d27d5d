// Helpers of the command-line tool's tests: the source folder, running
// zynecg, matching beat times.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "common/scratch.hpp"

namespace zyn::cli::testing {

using namespace ::zyn::testing;

inline fs::path source_dir() { return ZYN_SOURCE_DIR; }
inline std::string zynecg() { return ZYNECG_EXE; }

struct CommandResult {
  int status = -1;
  std::string output;  // standard output and standard error together
};

inline CommandResult run(const std::string& command) {
  CommandResult r;
  FILE* pipe = ::popen((command + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return r;
  std::array<char, 4096> buffer{};
  while (const std::size_t n = std::fread(buffer.data(), 1, buffer.size(), pipe)) r.output.append(buffer.data(), n);
  const int raw = ::pclose(pipe);
  r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  return r;
}

// Beat times (s) in `found` with no partner within 150 ms in the sorted
// `reference`, among those inside [from, to].
inline std::vector<double> unmatched(const std::vector<double>& found, const std::vector<double>& reference,
                                     double from, double to) {
  std::vector<double> out;
  for (const double t : found) {
    if (t < from || t > to) continue;
    const auto at = std::lower_bound(reference.begin(), reference.end(), t - 0.150);
    if (at == reference.end() || *at > t + 0.150) out.push_back(t);
  }
  return out;
}

}  // namespace zyn::cli::testing
