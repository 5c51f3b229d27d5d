// Prints the results of one QRS or HRV analysis as "field value..." lines,
// with doubles in round-trip precision, so that the JVM tests can compare the
// sealed Java results with the C++ analysis field by field.
//
// Usage: zyn_analysis_dump qrs|hrv SAMPLES.f64 FS START WINDOW FULL_SCALE
// SAMPLES.f64 holds little-endian float64 samples.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "analysis/pipelines.hpp"

namespace {

void print_ints(const char* name, const std::vector<int32_t>& v) {
  std::printf("%s", name);
  for (int32_t x : v) std::printf(" %d", x);
  std::printf("\n");
}

void print_common(const zyn::BeatAnalysis& a) {
  std::printf("error %d\nhr %.17g\nhr_mean %.17g\n", a.error, a.hr, a.hrMean);
  print_ints("rpeaks", a.rpeaks);
  print_ints("extra_systoles", a.extraSystoles);
  print_ints("qualities", a.qualities);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 7) {
    std::fprintf(stderr, "usage: %s qrs|hrv SAMPLES.f64 FS START WINDOW FULL_SCALE\n", argv[0]);
    return 2;
  }
  std::ifstream in(argv[2], std::ios::binary);
  if (!in) {
    std::fprintf(stderr, "%s: cannot read %s\n", argv[0], argv[2]);
    return 1;
  }
  const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), {});
  std::vector<double> samples(bytes.size() / sizeof(double));
  std::copy_n(bytes.data(), samples.size() * sizeof(double), reinterpret_cast<char*>(samples.data()));

  zyn::AnalysisRequest r;
  r.ecg = std::span<const double>(samples);
  r.fs = std::atoi(argv[3]);
  r.startSeconds = std::atoi(argv[4]);
  r.qualityWindowSeconds = std::atoi(argv[5]);
  r.fullScale = std::strtod(argv[6], nullptr);
  if (std::string(argv[1]) == "hrv") {
    const auto a = zyn::analyse_hrv(r);
    print_common(a);
    std::printf("statistics");
    for (double v : a.timeDomain) std::printf(" %.17g", v);
    for (double v : a.frequencyDomain) std::printf(" %.17g", v);
    std::printf("\n");
  } else {
    print_common(zyn::analyse_qrs(r));
  }
  return 0;
}
