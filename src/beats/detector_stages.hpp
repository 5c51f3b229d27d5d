// The stages of the R-peak detector and beat classifier, in the order in
// which analyze_ecg_r (rpeak_classifier.cpp) runs them.
//
// Input: a single-lead ECG in any amplitude unit sampled at fs Hz; every
// window is a duration in seconds turned into samples from fs. Positions
// are 1-based sample indices. Arrays of one entry per sample are passed as
// spans of the signal's length, written entirely by the stage that fills
// them.
#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "beats/rpeak_classifier.hpp"
#include "toolbox/stats.hpp"

namespace zyn::beats {

// Half width of the beat window that the template and the classes compare:
// 0.08 s on either side of the R peak.
inline constexpr double kBeatHalfWindowSeconds = 0.08;

// --- Baseline removal and QRS emphasis (qrs_feature.cpp) -------------------

// Baseline removal: raw = input minus its median; ecg = raw minus its
// centred moving average over 0.2 s (fs / 5 samples). ecg may be input's own
// array: each of its samples is written after input was last read there.
void remove_baseline(std::span<const double> input, std::span<double> raw, std::span<double> ecg, double fs);

// Noise level: the sample standard deviation of ecg over +-0.2 s around each
// sample, from running sums; the first and last 0.2 s repeat the nearest
// full window's value (all 0 when the signal holds none).
void noise_level(std::span<const double> ecg, double fs, std::span<double> sd);

// QRS feature: the amplitude range of ecg over +-0.05 s squared, times the
// range of its slope x[k + 1] - x[k - 1] over the same window (0 where the
// window leaves the signal). slope and slopeRange are working arrays.
void qrs_feature(std::span<const double> ecg, double fs, std::span<double> slope, std::span<double> slopeRange,
                 std::span<double> feature);

// Threshold: 1 where the feature's +-0.1 s moving maximum (its envelope,
// into env) exceeds three times the cubed noise level plus half the
// envelope's 3-second moving average (its trend, into trend), else 0.
std::vector<unsigned char> above_threshold(std::span<const double> feature, std::span<const double> noiseSd,
                                           double fs, std::span<double> env, std::span<double> trend);

// --- Candidate segments and their R peaks (candidate_segments.cpp) ---------

struct Segments {
  std::vector<std::ptrdiff_t> start, end;  // 1-based, inclusive
  std::vector<double> peak;                // chosen R position, 0 for none
};

// Candidate segments: the runs above the threshold. A start is the last
// sample below it before a rise, an end the last sample above it.
Segments candidate_segments(std::span<const unsigned char> mask);

// The light smoothing (a moving average over 0.02 s) that the noise test of
// the peak choice applies to each segment's context. When it sums its few
// samples directly, the whole signal is smoothed once (into smoothed, of
// ecg's length) and the contexts are read from it; otherwise smoothed stays
// unused (and may be empty).
bool contexts_read_whole_smoothing(double fs);
void smooth_whole_for_contexts(std::span<const double> ecg, double fs, std::span<double> smoothed);

// Peak choice: a segment whose +-2 s context is noisy (its smoothed,
// mean-free samples change sign at 0.3 or more per sample and its kurtosis
// is 4 or less) or flat (30 distinct raw values or fewer) gets no peak; one
// shorter than 0.15 s is widened to 0.15 s and gets none in this pass; the
// others get best_scored_maximum of their raw samples. Segments without a
// peak are then dropped.
void choose_segment_peaks(Segments& seg, std::span<const double> ecg, std::span<const double> raw,
                          std::span<const double> smoothedWhole, double fs);

// --- Template, classes and look-back (beat_classes.cpp) --------------------

// One row of 2h + 1 median-free samples of ecg around each peak (all zero
// when the window leaves the signal).
std::vector<std::vector<double>> beat_matrix(const Segments& seg, std::span<const double> ecg, std::ptrdiff_t h);

// The template beat as chosen, and centred on its mean.
struct CentredTemplate {
  std::vector<double> row;
  CentredSeries centred;
};
CentredTemplate centred_template(const std::vector<double>& row);

// Classes: each segment's best correlation with the template over the
// segment's samples; a beat correlating above 0.7 (0.8 when it comes before
// 0.7 of the last RR interval) and more than 0.24 s after the last normal
// beat is normal (class 1), placed on the highest local maximum of raw
// within +-8 samples; any other segment's peak goes to class 2. Segments
// within h samples of either end stay unclassified.
Classes classify_beats(const Segments& seg, const CentredTemplate& tmpl, std::span<const double> ecg,
                       std::span<const double> raw, double fs, std::ptrdiff_t h);

// Look-back: one pass over the gaps longer than 1.8 times the RR interval
// before them (and 0.48 s); see beat_classes.cpp. True when it added a beat.
bool look_back_once(Classes& classes, const CentredTemplate& tmpl, std::span<const double> ecg,
                    std::span<const double> raw, double fs, std::ptrdiff_t h);
inline constexpr int kMaxLookBackPasses = 4;

}  // namespace zyn::beats
