// Errors of the WFDB readers: one exception type whose message names the file
// (or record) and the problem, so that a command-line tool can print it as is.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace zyn::wfdb {

class Error : public std::runtime_error {
 public:
  Error(std::string_view source, std::string_view problem)
      : std::runtime_error(std::string(source) + ": " + std::string(problem)) {}
};

}  // namespace zyn::wfdb
