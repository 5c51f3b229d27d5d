// A whole-recording analysis handed to Java as a plain
// com.zyn.zynsolver.recording.RecordingResult: the results are first laid out
// flat (parallel arrays in the order of the Java constructor), then copied into
// Java arrays and passed to that one constructor.
#pragma once

#include <jni.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "file_analysis.hpp"

namespace zyn::jni {

// The Java constructor's arguments, in its order. Times in seconds, positions
// 0-based; pairs are stored one after the other.
struct FlatRecordingResult {
  std::string source, format, signal, units;
  double samplingRateHz = 0.0;
  int64_t sampleCount = 0;
  double fullScale = 0.0;
  std::string fullScaleSource;
  double hr = 0.0, hrMean = 0.0;             // NaN when absent
  std::vector<int64_t> beatSamples200Hz;     // both classes in time order
  std::vector<jboolean> beatIsExtra;
  std::vector<int64_t> beatFileSamples;
  std::vector<double> beatSeconds;
  std::vector<double> windowSeconds;         // (start, end) per window
  std::vector<int32_t> windowCodes;
  std::vector<int64_t> stretchSamples200Hz;  // (first, count) per stretch, whole 200 Hz recording
  std::vector<double> stretchSeconds;        // (start, end) per stretch
  std::vector<int32_t> stretchErrors;        // (QRS, HRV) per stretch, -1 where not run
  std::optional<std::vector<double>> hrv;    // the 13 statistics, band powers NaN when absent
  std::vector<double> segmentRows;           // 7 values per 5-minute segment
  std::vector<std::string> warnings;
  std::string hrvNote;
};

FlatRecordingResult flatten(const cli::FileAnalysis& analysis);

// A new RecordingResult, or null with a Java exception pending.
jobject to_java(JNIEnv* env, const FlatRecordingResult& flat);

}  // namespace zyn::jni
