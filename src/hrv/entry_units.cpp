// The toCompile entry unit: wave detection of an ECG stretch composed with
// the rhythm stage (trimmed-mean heart rate and labelled RR series) of a
// beat list given by the caller, in one call. The two parts do not feed each
// other: the rhythm stage works on the caller's beats, not on those found.
// Positions are 1-based samples; the heart rate is in beats per minute, the
// RR series in seconds.
#include "beats/detect_waves.hpp"
#include "hrv/hrv.hpp"
#include "hrv/rr_series.hpp"
#include "runtime/emx.hpp"
#include "zynecgsolver/hrv.h"

extern "C" {

ZYN_API void toCompile(const emxArray_real_T* ecg, int32_T fs, int32_T qualityWindowSeconds,
                       const emxArray_int32_T* normalPeaks, int32_T nNormal,
                       const emxArray_int32_T* extraPeaks, int32_T nExtra, int32_T rhythmFs,
                       emxArray_int32_T* detectedNormalPeaks, emxArray_int32_T* detectedExtraPeaks,
                       int32_T* overallQuality, emxArray_int32_T* windowQuality,
                       real_T* heartRate, emxArray_int16_T* flags, emxArray_real_T* t,
                       emxArray_real_T* rr, int32_T* shortRrFlag, real_T fullScale) {
  zyn::guarded([&] {
    const zyn::WaveDetection d =
        zyn::detect_waves(zyn::elements(ecg), fs, qualityWindowSeconds, fullScale);
    if (detectedNormalPeaks != nullptr) zyn::assign_column(detectedNormalPeaks, d.normalPeaks);
    if (detectedExtraPeaks != nullptr) zyn::assign_column(detectedExtraPeaks, d.extraPeaks);
    if (windowQuality != nullptr) zyn::assign_column(windowQuality, d.windowQuality);
    if (overallQuality != nullptr) *overallQuality = d.overallQuality;
    if (shortRrFlag != nullptr) *shortRrFlag = d.shortRrFlag;

    const auto normal = zyn::elements(normalPeaks);
    const auto extra = zyn::elements(extraPeaks);
    if (heartRate != nullptr) {
      *heartRate = zyn::heart_rate_from_trimmed_mean(normal, nNormal, extra, nExtra, rhythmFs);
    }
    // The NN series of the labelled series is not an output of this unit.
    const zyn::LabelledRRSeries s = zyn::labelled_rr_series(normal, extra, rhythmFs);
    if (flags != nullptr) zyn::assign_column(flags, s.flags);
    if (t != nullptr) zyn::assign_column(t, s.t);
    if (rr != nullptr) zyn::assign_column(rr, s.rr);
  });
}

}  // extern "C"
