// Fuzz target: the MIT annotation decoder on arbitrary bytes. A malformed
// file must end in zyn::wfdb::Error; symbols of every decoded code must be
// looked up without fault.
#include <span>

#include "wfdb/annotations.hpp"
#include "wfdb/error.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  try {
    for (const auto& a : zyn::wfdb::parse_annotations(std::span(data, size), "fuzz.atr")) {
      (void)zyn::wfdb::annotation_symbol(a.code);
      (void)zyn::wfdb::is_beat(a.code);
    }
  } catch (const zyn::wfdb::Error&) {
  }
  return 0;
}
