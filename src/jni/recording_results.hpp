// A whole-recording analysis handed to Java as a plain
// com.zyn.zynsolver.recording.RecordingResult: the results are laid out flat
// (arrays in the order of the Java constructor), copied into Java arrays and
// passed to that one constructor.
#pragma once

#include <jni.h>

#include "analyse_recording.hpp"

namespace zyn::jni {

// A new RecordingResult, or null with a Java exception pending.
jobject to_java(JNIEnv* env, const recording::RecordingAnalysis& analysis);

}  // namespace zyn::jni
