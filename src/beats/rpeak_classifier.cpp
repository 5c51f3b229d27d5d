// R-peak detection and beat classification of one ECG segment.
//
// Input: a single-lead ECG in any amplitude unit, sampled at fs Hz; every
// window is a duration in seconds turned into samples from fs. The detector
// removes the baseline, forms a QRS energy feature (amplitude range squared
// times slope range over +-0.05 s), compares its +-0.1 s envelope with an
// adaptive threshold (three times the cubed local noise level plus half the
// 3-second trend of the envelope), rejects noisy or flat candidate segments,
// chooses one R peak per segment, then correlates every beat with a template
// beat to split the beats into two morphology classes and looks back for
// beats missed in long gaps. Output: ascending 1-based R-peak positions with
// a class label each, label 1 for the class holding at least half the beats.
//
// The stages are declared, in this order, in detector_stages.hpp; the loops
// written for speed are kernels in detection_kernels.hpp and
// signal_kernels.hpp.
#include "beats/rpeak_classifier.hpp"

#include <algorithm>

#include "beats/detector_stages.hpp"
#include "beats/detector_units.hpp"
#include "beats/template_beat.hpp"
#include "runtime/emx.hpp"
#include "runtime/sample_pool.hpp"
#include "toolbox/sets.hpp"
#include "zynecgsolver/beats.h"

namespace zyn::beats {
namespace {

// A signal of fewer distinct values is too coarsely quantised to classify.
constexpr std::size_t kMinDistinctInSignal = 70;

ClassifiedBeats unusable() { return {{0.0}, {0.0}}; }

}  // namespace

ClassifiedBeats analyze_ecg_r(std::vector<double>& ecg, double fs) { return analyze_ecg_r(ecg, ecg, fs); }

ClassifiedBeats analyze_ecg_r(std::span<const double> input, std::span<double> ecg, double fs) {
  const std::size_t n = input.size();
  if (n == 0 || ecg.size() != n) return unusable();
  // Every sample of the scratch arrays is written before it is read.
  const PooledSamples::Overwritten full{n};
  PooledSamples raw(full), noiseSd(full), slope(full), slopeRange(full), feature(full), env(full), trend(full);
  PooledSamples smoothed(PooledSamples::Overwritten{contexts_read_whole_smoothing(fs) ? n : 0});

  remove_baseline(input, *raw, ecg, fs);
  const std::size_t distinctRaw = count_distinct_up_to(*raw, kMinDistinctInSignal);
  noise_level(ecg, fs, *noiseSd);
  qrs_feature(ecg, fs, *slope, *slopeRange, *feature);
  const std::vector<unsigned char> mask = above_threshold(*feature, *noiseSd, fs, *env, *trend);

  Segments seg = candidate_segments(mask);
  smooth_whole_for_contexts(ecg, fs, *smoothed);
  choose_segment_peaks(seg, ecg, *raw, *smoothed, fs);
  if (seg.peak.size() < 2 || distinctRaw < kMinDistinctInSignal) return unusable();

  const std::ptrdiff_t h = samples_floor(kBeatHalfWindowSeconds * fs);
  const std::vector<std::vector<double>> rows = beat_matrix(seg, ecg, h);
  const CentredTemplate tmpl = centred_template(rows[choose_template(rows)]);
  Classes classes = classify_beats(seg, tmpl, ecg, *raw, fs, h);
  for (int pass = 0; pass < kMaxLookBackPasses; ++pass) {
    if (!look_back_once(classes, tmpl, ecg, *raw, fs, h)) break;
  }
  return assemble(classes);
}

}  // namespace zyn::beats

extern "C" {

ZYN_API void m_analyze_ecg_offline_r(emxArray_real_T* ecg, emxArray_real_T* rpeaks, emxArray_real_T* beatClass,
                                     real_T fs) {
  zyn::guarded([&] {
    const auto samples = zyn::elements(ecg);
    std::vector<double> work(samples.begin(), samples.end());
    zyn::beats::ClassifiedBeats result = zyn::beats::analyze_ecg_r(work, fs);
    std::copy(work.begin(), work.end(), samples.begin());
    zyn::assign_row(rpeaks, result.rpeaks);
    zyn::assign_row(beatClass, result.beatClass);
  });
}

}  // extern "C"
