// Fuzz target: the WFDB header parser on arbitrary text. A malformed header
// must end in zyn::wfdb::Error (the only exception the readers throw); the
// derived quantities of every accepted header must be computable.
#include "fuzz_input.hpp"
#include "wfdb/error.hpp"
#include "wfdb/header.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  try {
    const zyn::wfdb::Header header = zyn::wfdb::parse_header(zyn::fuzz::as_text({data, size}), "fuzz.hea");
    (void)header.durationSeconds();
    for (const auto& spec : header.signals) {
      (void)zyn::wfdb::full_scale(spec);
      (void)zyn::wfdb::effective_adc_resolution(spec);
      (void)zyn::wfdb::to_physical(-32768, spec);
      (void)zyn::wfdb::to_physical(32767, spec);
    }
    (void)zyn::wfdb::find_signal(header, "MLII");
  } catch (const zyn::wfdb::Error&) {
  }
  return 0;
}
