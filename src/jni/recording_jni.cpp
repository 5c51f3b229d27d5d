// Native methods of com.zyn.zynsolver.recording.RecordingNative: the Java
// arguments become the whole-recording library's options and input, its
// results a plain RecordingResult. Marshalling only: reading, resampling,
// stretches, merging and HRV are the whole-recording library's. Unusable
// input becomes a RecordingException with the library's message, failed
// allocations an OutOfMemoryError; no C++ exception leaves these functions.
#include <jni.h>

#include <cmath>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "analyse_recording.hpp"
#include "com_zyn_zynsolver_recording_RecordingNative.h"
#include "jni_refs.hpp"
#include "recording_results.hpp"

namespace zyn::jni {
namespace {

constexpr const char* kRecordingException = "com/zyn/zynsolver/recording/RecordingException";

void throw_java(JNIEnv* env, const char* class_name, const char* message) {
  if (exception_pending(env)) return;
  LocalRef<jclass> cls(env, env->FindClass(class_name));
  if (cls) env->ThrowNew(cls.get(), message);
}

// The mode's ordinal in com.zyn.zynsolver.recording.AnalysisMode.
recording::Mode mode_of(jint ordinal) {
  switch (ordinal) {
    case 0: return recording::Mode::Qrs;
    case 1: return recording::Mode::Hrv;
    case 2: return recording::Mode::Both;
    default: throw std::invalid_argument("unknown analysis mode " + std::to_string(ordinal));
  }
}

std::optional<std::string> utf8(JNIEnv* env, jstring s) {
  if (s == nullptr) return std::string();
  const char* chars = env->GetStringUTFChars(s, nullptr);
  if (chars == nullptr) return std::nullopt;  // OutOfMemoryError pending
  std::string out(chars);
  env->ReleaseStringUTFChars(s, chars);
  return out;
}

// Options of one analysis; the stretches run one after the other on the
// caller's thread (parallel work belongs to the caller, across recordings).
void set_options(recording::AnalysisOptions& o, jint mode, jint startSeconds, jint windowSeconds, jdouble fullScale) {
  o.mode = mode_of(mode);
  o.startSeconds = startSeconds;
  o.windowSeconds = windowSeconds;
  if (!std::isnan(fullScale)) o.fullScale = fullScale;
}

// Samples of a Java array of doubles or floats, as doubles.
template <class JavaArray, class Element>
std::optional<std::vector<double>> samples_of(JNIEnv* env, JavaArray array,
                                              void (JNIEnv::*get_region)(JavaArray, jsize, jsize, Element*)) {
  const jsize n = env->GetArrayLength(array);
  std::vector<Element> copy(static_cast<std::size_t>(n));
  (env->*get_region)(array, 0, n, copy.data());
  if (exception_pending(env)) return std::nullopt;
  return std::vector<double>(copy.begin(), copy.end());
}

jobject analyse_samples(JNIEnv* env, std::span<const double> samples, jdouble samplingRateHz, jint mode,
                        jint startSeconds, jint windowSeconds, jdouble fullScale) {
  if (!(samplingRateHz > 0.0) || !std::isfinite(samplingRateHz)) {
    throw std::invalid_argument("the sampling rate must be a positive number of Hz, not " +
                                std::to_string(samplingRateHz));
  }
  recording::RecordingInfo info;
  info.source = "samples";
  info.format = "samples";
  info.fsHz = samplingRateHz;
  info.sampleCount = static_cast<int64_t>(samples.size());
  recording::AnalysisOptions options;
  set_options(options, mode, startSeconds, windowSeconds, fullScale);
  return to_java(env, recording::analyse_samples(samples, info, options));
}

// Runs body, turning the library's exceptions into Java ones.
template <class Body>
jobject guarded(JNIEnv* env, Body body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    throw_java(env, "java/lang/OutOfMemoryError", "whole-recording analysis could not allocate memory");
  } catch (const std::invalid_argument& e) {
    throw_java(env, "java/lang/IllegalArgumentException", e.what());
  } catch (const std::exception& e) {
    throw_java(env, kRecordingException, e.what());
  } catch (...) {
    throw_java(env, kRecordingException, "whole-recording analysis failed");
  }
  return nullptr;
}

}  // namespace
}  // namespace zyn::jni

extern "C" {

JNIEXPORT jobject JNICALL Java_com_zyn_zynsolver_recording_RecordingNative_analyseSamples(
    JNIEnv* env, jclass, jdoubleArray samples, jdouble samplingRateHz, jint mode, jint startSeconds,
    jint windowSeconds, jdouble fullScale) {
  using namespace zyn::jni;
  return guarded(env, [&]() -> jobject {
    const auto values = samples_of(env, samples, &JNIEnv::GetDoubleArrayRegion);
    if (!values) return nullptr;
    return analyse_samples(env, *values, samplingRateHz, mode, startSeconds, windowSeconds, fullScale);
  });
}

JNIEXPORT jobject JNICALL Java_com_zyn_zynsolver_recording_RecordingNative_analyseFloatSamples(
    JNIEnv* env, jclass, jfloatArray samples, jdouble samplingRateHz, jint mode, jint startSeconds,
    jint windowSeconds, jdouble fullScale) {
  using namespace zyn::jni;
  return guarded(env, [&]() -> jobject {
    const auto values = samples_of(env, samples, &JNIEnv::GetFloatArrayRegion);
    if (!values) return nullptr;
    return analyse_samples(env, *values, samplingRateHz, mode, startSeconds, windowSeconds, fullScale);
  });
}

JNIEXPORT jobject JNICALL Java_com_zyn_zynsolver_recording_RecordingNative_analyseFile(
    JNIEnv* env, jclass, jstring path, jstring format, jstring signal, jdouble samplingRateHz, jint mode,
    jint startSeconds, jint windowSeconds, jdouble fullScale, jstring sourceName) {
  using namespace zyn::jni;
  return guarded(env, [&]() -> jobject {
    const auto file = utf8(env, path), format_text = utf8(env, format), signal_text = utf8(env, signal),
               source = utf8(env, sourceName);
    if (!file || !format_text || !signal_text || !source) return nullptr;
    zyn::recording::FileOptions options;
    set_options(options, mode, startSeconds, windowSeconds, fullScale);
    options.read.format = zyn::recording::parse_format(*format_text);
    options.read.signal = *signal_text;
    if (!std::isnan(samplingRateHz)) options.read.fsHz = samplingRateHz;
    zyn::recording::RecordingAnalysis analysis = zyn::recording::analyse_file(*file, options);
    analysis.recording.source = *source;
    return to_java(env, analysis);
  });
}

JNIEXPORT jstring JNICALL Java_com_zyn_zynsolver_recording_RecordingNative_version(JNIEnv* env, jclass) {
  return env->NewStringUTF(ZYN_RECORDING_VERSION);
}

}  // extern "C"
