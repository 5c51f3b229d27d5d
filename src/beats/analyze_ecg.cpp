// Entry of beat analysis for one ECG stretch sampled at fs Hz.
//
// The refined detector's beats within one second of either end are dropped
// (their QRS complex may be cut); the short-RR flag comes from the coarse
// band-pass detector over the whole stretch, edges included, and says that
// the typical RR interval ((mean + shortest) / 2) is under 0.3 s (above 200
// beats per minute), which usually means T waves or noise were counted.
// Positions are 1-based sample indices, converted to int32 at the integer
// front with rounding half away from zero and saturation.
#include "beats/analyze_ecg.hpp"

#include <algorithm>

#include "beats/primitive_rpeaks.hpp"
#include "beats/rpeak_classifier.hpp"
#include "runtime/emx.hpp"
#include "runtime/sample_pool.hpp"
#include "runtime/scalar.hpp"
#include "zynecgsolver/beats.h"

namespace zyn::beats {
namespace {
constexpr double kShortRrSeconds = 0.3;
}  // namespace

bool rr_is_short(std::span<const double> coarse, double fs) {
  if (coarse.size() < 2) return false;  // mean of no interval is NaN: never short
  // Intervals in seconds: sample differences times the reciprocal of fs,
  // formed once.
  const double secondsPerSample = 1.0 / fs;
  double sum = 0.0;
  double shortest = 0.0;
  for (std::size_t i = 0; i + 1 < coarse.size(); ++i) {
    const double rr = (coarse[i + 1] - coarse[i]) * secondsPerSample;
    sum += rr;
    shortest = (i == 0 || rr < shortest) ? rr : shortest;
  }
  const double mean = sum / static_cast<double>(coarse.size() - 1);
  return (mean + shortest) / 2.0 < kShortRrSeconds;
}

StretchBeats analyze_stretch(std::span<const double> ecg, double fs) {
  bool shortRr = false;
  {
    PooledSamples filtered(PooledSamples::Overwritten{primitive_scratch_samples(ecg.size())});
    shortRr = rr_is_short(primitive_rpeaks(ecg, fs, *filtered), fs);
  }
  PooledSamples corrected(PooledSamples::Overwritten{ecg.size()});
  StretchBeats out = keep_inner_beats(analyze_ecg_r(ecg, *corrected, fs), ecg.size(), fs);
  out.shortRr = shortRr;
  return out;
}

StretchBeats keep_inner_beats(const ClassifiedBeats& all, std::size_t n, double fs) {
  const double lastAllowed = static_cast<double>(n) - fs;
  StretchBeats out;
  for (std::size_t j = 0; j < all.rpeaks.size() && j < all.beatClass.size(); ++j) {
    if (fs < all.rpeaks[j] && all.rpeaks[j] < lastAllowed) {
      out.rpeaks.push_back(all.rpeaks[j]);
      out.beatClass.push_back(all.beatClass[j]);
    }
  }
  return out;
}

}  // namespace zyn::beats

namespace {

std::vector<int32_t> to_int32(const std::vector<double>& v) {
  std::vector<int32_t> out(v.size());
  std::transform(v.begin(), v.end(), out.begin(), zyn::to_int32_saturated);
  return out;
}

}  // namespace

extern "C" {

ZYN_API real_T m_analyze_ecg_offline(const emxArray_real_T* ecg, emxArray_real_T* rpeaks, emxArray_real_T* beatClass,
                                     real_T fs) {
  return zyn::guarded(0.0, [&] {
    const zyn::beats::StretchBeats s = zyn::beats::analyze_stretch(zyn::elements(ecg), fs);
    zyn::assign_row(rpeaks, s.rpeaks);
    zyn::assign_row(beatClass, s.beatClass);
    return s.shortRr ? 1.0 : 0.0;
  });
}

ZYN_API int32_T m_analyze_ecg_offline_emlc(const emxArray_real_T* ecg, int32_T fs, emxArray_int32_T* rpeaks,
                                           emxArray_int32_T* beatClass) {
  return zyn::guarded(0, [&] {
    const zyn::beats::StretchBeats s = zyn::beats::analyze_stretch(zyn::elements(ecg), static_cast<double>(fs));
    zyn::assign_column(rpeaks, to_int32(s.rpeaks));
    zyn::assign_row(beatClass, to_int32(s.beatClass));
    return s.shortRr ? 1 : 0;
  });
}

}  // extern "C"
