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
#include <stdexcept>
#include <string>

#include "com_zyn_zynsolver_recording_RecordingNative.h"
#include "file_analysis.hpp"
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
cli::Mode mode_of(jint ordinal) {
  switch (ordinal) {
    case 0: return cli::Mode::Qrs;
    case 1: return cli::Mode::Hrv;
    case 2: return cli::Mode::Both;
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

cli::FileOptions file_options(jint mode, jint startSeconds, jint windowSeconds, jdouble fullScale) {
  cli::FileOptions o;
  o.mode = mode_of(mode);
  o.startSeconds = startSeconds;
  o.windowSeconds = windowSeconds;
  if (!std::isnan(fullScale)) o.fullScale = fullScale;
  return o;
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

JNIEXPORT jobject JNICALL Java_com_zyn_zynsolver_recording_RecordingNative_analyseFile(
    JNIEnv* env, jclass, jstring path, jstring format, jstring signal, jdouble samplingRateHz, jint mode,
    jint startSeconds, jint windowSeconds, jdouble fullScale, jstring sourceName) {
  using namespace zyn::jni;
  return guarded(env, [&]() -> jobject {
    const auto file = utf8(env, path), format_text = utf8(env, format), signal_text = utf8(env, signal),
               source = utf8(env, sourceName);
    if (!file || !format_text || !signal_text || !source) return nullptr;
    zyn::cli::FileOptions options = file_options(mode, startSeconds, windowSeconds, fullScale);
    options.read.format = zyn::cli::parse_format(*format_text);
    options.read.signal = *signal_text;
    if (!std::isnan(samplingRateHz)) options.read.fsHz = samplingRateHz;
    FlatRecordingResult flat = flatten(zyn::cli::analyse_file(*file, options));
    flat.source = *source;
    return to_java(env, flat);
  });
}

JNIEXPORT jstring JNICALL Java_com_zyn_zynsolver_recording_RecordingNative_version(JNIEnv* env, jclass) {
  return env->NewStringUTF("1.5.4");
}

}  // extern "C"
