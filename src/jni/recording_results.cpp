// Whole-recording results copied into a Java RecordingResult. See
// recording_results.hpp.
#include "recording_results.hpp"

#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "jni_refs.hpp"

namespace zyn::jni {
namespace {

using recording::RecordingAnalysis;

constexpr double kAbsent = std::numeric_limits<double>::quiet_NaN();
constexpr const char* kResultClass = "com/zyn/zynsolver/recording/RecordingResult";
constexpr const char* kConstructor =
    "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;DJDLjava/lang/String;IDD"
    "[J[J[D[J[J[D[D[I[J[D[II[D[D[Ljava/lang/String;Ljava/lang/String;)V";

// The flat arrays of the constructor that are not plain fields.
struct FlatTables {
  std::vector<double> windowSeconds;        // (start, end) per window
  std::vector<int32_t> windowCodes;
  std::vector<int64_t> stretchSamples200Hz; // (first, count) per stretch, whole 200 Hz recording
  std::vector<double> stretchValues;        // (start s, end s, hr, hr mean) per stretch
  std::vector<int32_t> stretchErrors;
  std::optional<std::vector<double>> hrv;   // 13 statistics, band powers NaN when absent
  std::vector<double> segmentTable;         // 8 values per 5-minute segment
};

FlatTables flat_tables(const RecordingAnalysis& a) {
  FlatTables t;
  for (const recording::QualityWindow& w : a.windows) {
    t.windowSeconds.insert(t.windowSeconds.end(), {w.startSeconds, w.endSeconds});
    t.windowCodes.push_back(w.code);
  }
  for (const recording::StretchResult& s : a.stretches) {
    t.stretchSamples200Hz.insert(t.stretchSamples200Hz.end(), {s.plan.first + a.startSample200, s.plan.count});
    t.stretchValues.insert(t.stretchValues.end(), {s.startSeconds, s.endSeconds, s.hrBpm, s.hrMeanBpm});
    t.stretchErrors.push_back(s.error);
  }
  if (a.hrv.timeDomain) {
    std::vector<double> values(a.hrv.timeDomain->begin(), a.hrv.timeDomain->end());
    for (std::size_t i = 0; i < 6; ++i) values.push_back(a.hrv.frequencyDomain ? (*a.hrv.frequencyDomain)[i] : kAbsent);
    t.hrv = std::move(values);
  }
  for (const recording::SegmentRow& r : a.segments) {
    t.segmentTable.insert(t.segmentTable.end(),
                          {r.startSeconds, r.endSeconds, r.meanHrBpm.value_or(kAbsent), r.sdnnSeconds.value_or(kAbsent),
                           r.rmssdSeconds.value_or(kAbsent), static_cast<double>(r.nnIntervals),
                           static_cast<double>(r.normalBeats), static_cast<double>(r.extraSystoles)});
  }
  return t;
}

// Java arrays from C++ vectors; each is null with an OutOfMemoryError
// pending when the JVM has no room for it.
LocalRef<jlongArray> java_longs(JNIEnv* env, const std::vector<int64_t>& v) {
  LocalRef<jlongArray> a(env, env->NewLongArray(static_cast<jsize>(v.size())));
  if (a) env->SetLongArrayRegion(a.get(), 0, static_cast<jsize>(v.size()), reinterpret_cast<const jlong*>(v.data()));
  return a;
}

LocalRef<jdoubleArray> java_doubles(JNIEnv* env, const std::vector<double>& v) {
  LocalRef<jdoubleArray> a(env, env->NewDoubleArray(static_cast<jsize>(v.size())));
  if (a) env->SetDoubleArrayRegion(a.get(), 0, static_cast<jsize>(v.size()), v.data());
  return a;
}

LocalRef<jintArray> java_ints(JNIEnv* env, const std::vector<int32_t>& v) {
  LocalRef<jintArray> a(env, env->NewIntArray(static_cast<jsize>(v.size())));
  if (a) env->SetIntArrayRegion(a.get(), 0, static_cast<jsize>(v.size()), v.data());
  return a;
}

LocalRef<jstring> java_string(JNIEnv* env, const std::string& s) { return {env, env->NewStringUTF(s.c_str())}; }

LocalRef<jobjectArray> java_strings(JNIEnv* env, const std::vector<std::string>& v) {
  LocalRef<jclass> string_class(env, env->FindClass("java/lang/String"));
  if (!string_class) return {env, nullptr};
  LocalRef<jobjectArray> a(env, env->NewObjectArray(static_cast<jsize>(v.size()), string_class.get(), nullptr));
  for (std::size_t i = 0; a && i < v.size(); ++i) {
    LocalRef<jstring> s = java_string(env, v[i]);
    if (!s) return {env, nullptr};
    env->SetObjectArrayElement(a.get(), static_cast<jsize>(i), s.get());
  }
  return a;
}

}  // namespace

jobject to_java(JNIEnv* env, const RecordingAnalysis& a) {
  LocalRef<jclass> cls(env, env->FindClass(kResultClass));
  if (!cls) return nullptr;
  const jmethodID constructor = env->GetMethodID(cls.get(), "<init>", kConstructor);
  if (constructor == nullptr) return nullptr;
  const FlatTables t = flat_tables(a);
  const recording::RecordingInfo& r = a.recording;
  LocalRef<jstring> source = java_string(env, r.source), format = java_string(env, r.format),
                    signal = java_string(env, r.signalName), units = java_string(env, r.units),
                    fullScaleSource = java_string(env, a.fullScaleSource), hrvNote = java_string(env, a.hrv.note);
  LocalRef<jlongArray> normal200 = java_longs(env, a.normal.samples200Hz),
                       normalFile = java_longs(env, a.normal.fileSamples),
                       extra200 = java_longs(env, a.extraSystoles.samples200Hz),
                       extraFile = java_longs(env, a.extraSystoles.fileSamples),
                       stretch200 = java_longs(env, t.stretchSamples200Hz);
  LocalRef<jdoubleArray> normalSeconds = java_doubles(env, a.normal.seconds),
                         extraSeconds = java_doubles(env, a.extraSystoles.seconds),
                         windowSeconds = java_doubles(env, t.windowSeconds),
                         stretchValues = java_doubles(env, t.stretchValues),
                         segments = java_doubles(env, t.segmentTable);
  LocalRef<jdoubleArray> hrv = t.hrv ? java_doubles(env, *t.hrv) : LocalRef<jdoubleArray>(env, nullptr);
  LocalRef<jintArray> windowCodes = java_ints(env, t.windowCodes), stretchErrors = java_ints(env, t.stretchErrors);
  LocalRef<jobjectArray> warnings = java_strings(env, a.warnings);
  // Any allocation above that failed left an OutOfMemoryError pending.
  if (exception_pending(env)) return nullptr;
  return env->NewObject(cls.get(), constructor, source.get(), format.get(), signal.get(), units.get(), r.fsHz,
                        static_cast<jlong>(r.sampleCount), a.fullScale, fullScaleSource.get(),
                        static_cast<jint>(a.error), a.hrBpm.value_or(kAbsent), a.hrMeanBpm.value_or(kAbsent),
                        normal200.get(), normalFile.get(), normalSeconds.get(), extra200.get(), extraFile.get(),
                        extraSeconds.get(), windowSeconds.get(), windowCodes.get(), stretch200.get(),
                        stretchValues.get(), stretchErrors.get(), static_cast<jint>(a.hrv.error), hrv.get(),
                        segments.get(), warnings.get(), hrvNote.get());
}

}  // namespace zyn::jni
