// Fuzz target: WFDB records (header plus signal files) read from disk.
//
// Input layout: u16 header length, the header text, then the signal bytes.
// The signal bytes are split in two files; every signal of the header is
// pointed at one of them (by the parity of its file name's length), so the
// target never reads outside its own scratch folder. A malformed record must
// end in zyn::wfdb::Error.
#include "fuzz_input.hpp"
#include "wfdb/error.hpp"
#include "wfdb/signals.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  zyn::fuzz::InputReader in(data, size);
  const std::string_view text = zyn::fuzz::as_text(in.bytes(in.take<uint16_t>()));
  const auto signalBytes = in.rest();
  zyn::fuzz::write_scratch("f0.dat", signalBytes.first(signalBytes.size() / 2));
  zyn::fuzz::write_scratch("f1.dat", signalBytes.subspan(signalBytes.size() / 2));
  try {
    zyn::wfdb::Record record;
    record.header = zyn::wfdb::parse_header(text, "fuzz.hea");
    record.header.recordName = "fuzz";
    for (auto& spec : record.header.signals) spec.fileName = spec.fileName.size() % 2 ? "f1.dat" : "f0.dat";
    record.samples = zyn::wfdb::read_samples(record.header, zyn::fuzz::scratch_folder());
    for (std::size_t i = 0; i < record.samples.size(); ++i) (void)zyn::wfdb::physical_signal(record, i);
  } catch (const zyn::wfdb::Error&) {
  }
  // Raw decoders on the bytes they are given, within their stated sizes
  // (format 212: two samples per 3 bytes, one more for a 2-byte tail).
  (void)zyn::wfdb::decode_format16(signalBytes, signalBytes.size() / 2);
  (void)zyn::wfdb::decode_format212(signalBytes, signalBytes.size() / 3 * 2 + (signalBytes.size() % 3 == 2));
  return 0;
}
