// Wave detection driver: beats of one whole recording and their quality.
//
// The recording (sampled at fs Hz, in the recorder's unit) is analysed as one
// stretch; class-1 beats become normal peaks, all others extra peaks, both as
// ascending 1-based positions. Only the normal beats enter the quality
// ratings, so ectopic beats neither make a window rateable nor count as
// rhythm irregularity.
#include "beats/detect_waves.hpp"

#include "beats/analyze_ecg.hpp"
#include "beats/signal_quality.hpp"
#include "runtime/emx.hpp"
#include "runtime/scalar.hpp"
#include "zynecgsolver/beats.h"

namespace zyn {

WaveDetection detect_waves(std::span<const double> ecg, int32_t fs, int32_t qualityWindowSeconds,
                           double fullScale) {
  const beats::StretchBeats stretch = beats::analyze_stretch(ecg, static_cast<double>(fs));
  WaveDetection out;
  out.shortRrFlag = stretch.shortRr ? 1 : 0;
  for (std::size_t j = 0; j < stretch.rpeaks.size(); ++j) {
    const int32_t position = to_int32_saturated(stretch.rpeaks[j]);
    if (to_int32_saturated(stretch.beatClass[j]) == 1) {
      out.normalPeaks.push_back(position);
    } else {
      out.extraPeaks.push_back(position);
    }
  }
  out.overallQuality = beats::stretch_quality(ecg, out.normalPeaks, fullScale,
                                              static_cast<double>(out.normalPeaks.size()));
  out.windowQuality = beats::window_quality(ecg, fs, out.normalPeaks, qualityWindowSeconds, fullScale);
  return out;
}

}  // namespace zyn

extern "C" {

ZYN_API void m_detectWaves(const emxArray_real_T* ecg, int32_T fs, int32_T qualityWindowSeconds,
                           emxArray_int32_T* normalPeaks, emxArray_int32_T* extraPeaks,
                           emxArray_int32_T* windowQuality, int32_T* overallQuality, int32_T* shortRrFlag,
                           real_T fullScale) {
  zyn::guarded([&] {
    const zyn::WaveDetection d = zyn::detect_waves(zyn::elements(ecg), fs, qualityWindowSeconds, fullScale);
    zyn::assign_column(normalPeaks, d.normalPeaks);
    zyn::assign_column(extraPeaks, d.extraPeaks);
    zyn::assign_column(windowQuality, d.windowQuality);
    if (overallQuality != nullptr) *overallQuality = d.overallQuality;
    if (shortRrFlag != nullptr) *shortRrFlag = d.shortRrFlag;
  });
}

}  // extern "C"
