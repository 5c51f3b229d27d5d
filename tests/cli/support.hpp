// Helpers of the command-line tool's tests: running zynecg, and those of the
// whole-recording tests.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <vector>

#include "recording/support.hpp"

namespace zyn::cli::testing {

using namespace ::zyn::recording::testing;

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

}  // namespace zyn::cli::testing
