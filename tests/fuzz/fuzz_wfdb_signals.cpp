// Fuzz target: WFDB records (header plus signal files) read from disk.
//
// Input layout: u16 header length, the header text, then the signal bytes.
// The signal bytes are split in two files; every signal of the header is
// pointed at one of them (by the parity of its file name's length), so the
// target never reads outside its own scratch folder. A malformed record must
// end in zyn::wfdb::Error.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz_input.hpp"
#include "wfdb/error.hpp"
#include "wfdb/signals.hpp"

namespace {

const std::filesystem::path& scratch_folder() {
  static const std::filesystem::path folder = [] {
    auto p = std::filesystem::temp_directory_path() /
             ("zyn-fuzz-wfdb-" + std::to_string(::getpid()));
    std::filesystem::create_directories(p);
    return p;
  }();
  return folder;
}

void write_file(const std::filesystem::path& path, std::span<const uint8_t> bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  zyn::fuzz::InputReader in(data, size);
  const auto headerLength = in.take<uint16_t>();
  const auto headerBytes = in.bytes(headerLength);
  const std::string_view text(reinterpret_cast<const char*>(headerBytes.data()), headerBytes.size());
  const auto signalBytes = in.rest();
  const auto& folder = scratch_folder();
  write_file(folder / "f0.dat", signalBytes.first(signalBytes.size() / 2));
  write_file(folder / "f1.dat", signalBytes.subspan(signalBytes.size() / 2));
  try {
    zyn::wfdb::Header header = zyn::wfdb::parse_header(text, "fuzz.hea");
    header.recordName = "fuzz";
    for (auto& spec : header.signals) spec.fileName = spec.fileName.size() % 2 ? "f1.dat" : "f0.dat";
    zyn::wfdb::Record record;
    record.samples = zyn::wfdb::read_samples(header, folder);
    record.header = header;
    for (std::size_t i = 0; i < record.samples.size(); ++i) {
      (void)zyn::wfdb::physical_signal(record, i);
    }
  } catch (const zyn::wfdb::Error&) {
  }
  // Raw decoders on the bytes they are given, within their stated sizes.
  (void)zyn::wfdb::decode_format16(signalBytes, signalBytes.size() / 2);
  std::size_t count212 = (signalBytes.size() / 3) * 2;
  if (signalBytes.size() % 3 == 2) ++count212;
  (void)zyn::wfdb::decode_format212(signalBytes, count212);
  return 0;
}
