// The HTML report of one analysed file: a single self-contained page with
// inline SVG figures (ECG strips with the beats marked and the quality of each
// window as a coloured band, the RR tachogram, a Lomb spectrum of the NN
// intervals with the ULF/VLF/LF/HF bands shaded) and the statistics table.
#pragma once

#include <string>
#include <vector>

#include "output.hpp"

namespace zyn::cli {

// Seconds of ECG shown as strips on the page itself; later strips are on the
// page too but shown only when their anchor is followed.
inline constexpr double kStripSeconds = 10.0;
inline constexpr double kStripsShownSeconds = 180.0;
inline constexpr double kStripsMaxSeconds = 3600.0;

struct SpectrumPoint {
  double frequencyHz;
  double power;
};

// Lomb-Scargle periodogram of an unevenly sampled series (times in s),
// evaluated directly at `count` frequencies from fmin to fmax. For display
// only; the band powers of the analysis come from the library.
std::vector<SpectrumPoint> lomb_periodogram(const std::vector<double>& times, const std::vector<double>& values,
                                            double fminHz, double fmaxHz, std::size_t count);

std::string html_report(const RecordingAnalysis& f);

}  // namespace zyn::cli
