// Fuzz target: the CSV and EDF readers of the command-line tool, and the
// conversion of what they read to the analysis rate.
//
// Input layout (little-endian):
//   u8  mode      bit 0: EDF (else CSV); bit 1: also resample to 200 Hz
//   f64 fsHz      sampling rate given on the command line (0: none)
//   u8  signal    0: the first ECG signal; else the 0-based index signal - 1
//   payload       the file's bytes
// A malformed file must end in InputError naming the file.
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz_input.hpp"
#include "recording.hpp"

namespace {

const std::filesystem::path& scratch_file() {
  static const std::filesystem::path file = std::filesystem::temp_directory_path() /
                                            ("zyn-fuzz-" + std::to_string(::getpid()) + ".edf");
  return file;
}

// Resampling a recording of very low rate to 200 Hz makes it longer by
// 200 / fs; the reader accepts any positive rate, so the harness keeps the
// output within what a command-line run could hold.
constexpr double kMaxResampledSamples = 4.0e6;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  zyn::fuzz::InputReader in(data, size);
  const auto mode = in.take<uint8_t>();
  const auto fsHz = in.take<double>();
  const auto signal = in.take<uint8_t>();
  const auto payload = in.rest();
  zyn::cli::ReadOptions options;
  if (fsHz != 0.0) options.fsHz = fsHz;
  if (signal != 0) options.signal = std::to_string(signal - 1);
  try {
    zyn::cli::Recording r;
    if (mode & 1) {
      options.format = zyn::cli::InputFormat::Edf;
      {
        std::ofstream out(scratch_file(), std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(payload.data()),
                  static_cast<std::streamsize>(payload.size()));
      }
      r = zyn::cli::read_edf(scratch_file().string(), options);
    } else {
      options.format = zyn::cli::InputFormat::Csv;
      const std::string_view text(reinterpret_cast<const char*>(payload.data()), payload.size());
      r = zyn::cli::parse_csv(text, "fuzz.csv", options);
    }
    if ((mode & 2) && r.fsHz > 0.0 &&
        static_cast<double>(r.samples.size()) * 200.0 / r.fsHz < kMaxResampledSamples) {
      (void)zyn::cli::at_analysis_rate(r);
    }
  } catch (const zyn::cli::InputError&) {
  }
  return 0;
}
