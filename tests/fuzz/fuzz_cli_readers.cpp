// Fuzz target: the CSV and EDF readers of the command-line tool, and the
// conversion of what they read to the analysis rate.
//
// Input layout (little-endian):
//   u8  mode      bit 0: EDF (else CSV); bit 1: also resample to 200 Hz
//   f64 fsHz      sampling rate given on the command line (0: none)
//   u8  signal    0: the first ECG signal; else the 0-based index signal - 1
//   payload       the file's bytes
// A malformed file must end in InputError naming the file.
#include "fuzz_input.hpp"
#include "recording.hpp"

namespace {

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
  zyn::recording::ReadOptions options;
  if (fsHz != 0.0) options.fsHz = fsHz;
  if (signal != 0) options.signal = std::to_string(signal - 1);
  try {
    zyn::recording::Recording r;
    if (mode & 1) {
      options.format = zyn::recording::InputFormat::Edf;
      r = zyn::recording::read_edf(zyn::fuzz::write_scratch("fuzz.edf", in.rest()).string(), options);
    } else {
      options.format = zyn::recording::InputFormat::Csv;
      r = zyn::recording::parse_csv(zyn::fuzz::as_text(in.rest()), "fuzz.csv", options);
    }
    if ((mode & 2) && r.fsHz > 0.0 && static_cast<double>(r.samples.size()) * 200.0 / r.fsHz < kMaxResampledSamples)
      (void)zyn::recording::at_analysis_rate(r);
  } catch (const zyn::recording::InputError&) {
  }
  return 0;
}
