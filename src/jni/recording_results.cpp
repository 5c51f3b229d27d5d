// Whole-recording results laid out flat and copied into a Java
// RecordingResult. See recording_results.hpp.
#include "recording_results.hpp"

#include <cmath>
#include <limits>

#include "jni_refs.hpp"

namespace zyn::jni {
namespace {

constexpr double kAbsent = std::numeric_limits<double>::quiet_NaN();
constexpr const char* kResultClass = "com/zyn/zynsolver/recording/RecordingResult";
constexpr const char* kConstructor =
    "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;DJDLjava/lang/String;DD"
    "[J[Z[J[D[D[I[J[D[I[D[D[Ljava/lang/String;Ljava/lang/String;)V";

void add_stretches(FlatRecordingResult& flat, const cli::FileAnalysis& f, const cli::WholeAnalysis& run, bool hrv) {
  for (const cli::StretchResult& s : run.stretches) {
    flat.stretchSamples200Hz.push_back(s.plan.first + f.startSample200);
    flat.stretchSamples200Hz.push_back(s.plan.count);
    flat.stretchSeconds.push_back(f.seconds(s.plan.first));
    flat.stretchSeconds.push_back(f.seconds(s.plan.first + s.plan.count));
    flat.stretchErrors.push_back(!hrv && s.qrs ? s.qrs->error : -1);
    flat.stretchErrors.push_back(hrv && s.hrv ? s.hrv->error : -1);
  }
}

// Java arrays from C++ vectors; each returns null with an exception pending
// when the JVM has no memory for it.
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

LocalRef<jbooleanArray> java_booleans(JNIEnv* env, const std::vector<jboolean>& v) {
  LocalRef<jbooleanArray> a(env, env->NewBooleanArray(static_cast<jsize>(v.size())));
  if (a) env->SetBooleanArrayRegion(a.get(), 0, static_cast<jsize>(v.size()), v.data());
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

FlatRecordingResult flatten(const cli::FileAnalysis& f) {
  FlatRecordingResult flat;
  flat.source = f.recording.source;
  flat.format = f.recording.format;
  flat.signal = f.recording.signalName;
  flat.units = f.recording.units;
  flat.samplingRateHz = f.recording.fsHz;
  flat.sampleCount = static_cast<int64_t>(f.recording.samples.size());
  flat.fullScale = f.fullScale;
  flat.fullScaleSource = f.fullScaleSource;
  const cli::WholeSummary& s = f.summary;
  flat.hr = s.hr.value_or(kAbsent);
  flat.hrMean = s.hrMean.value_or(kAbsent);
  for (const cli::Beat& b : f.beats().beats) {
    flat.beatSamples200Hz.push_back(b.sample + f.startSample200);
    flat.beatIsExtra.push_back(b.extra ? JNI_TRUE : JNI_FALSE);
    flat.beatFileSamples.push_back(f.file_sample(b.sample));
    flat.beatSeconds.push_back(f.seconds(b.sample));
  }
  for (const cli::QualityWindow& w : f.beats().windows) {
    flat.windowSeconds.push_back(f.seconds(w.first));
    flat.windowSeconds.push_back(f.seconds(w.first + w.count));
    flat.windowCodes.push_back(w.code);
  }
  if (f.qrs) add_stretches(flat, f, *f.qrs, false);
  if (f.hrv) add_stretches(flat, f, *f.hrv, true);
  if (s.timeDomain) {
    std::vector<double> values(s.timeDomain->begin(), s.timeDomain->end());
    for (std::size_t i = 0; i < 6; ++i) values.push_back(s.frequencyDomain ? (*s.frequencyDomain)[i] : kAbsent);
    flat.hrv = std::move(values);
  }
  flat.warnings = s.warnings;
  flat.hrvNote = s.hrvNote;
  return flat;
}

jobject to_java(JNIEnv* env, const FlatRecordingResult& flat) {
  LocalRef<jclass> cls(env, env->FindClass(kResultClass));
  if (!cls) return nullptr;
  const jmethodID constructor = env->GetMethodID(cls.get(), "<init>", kConstructor);
  if (constructor == nullptr) return nullptr;
  LocalRef<jstring> source = java_string(env, flat.source), format = java_string(env, flat.format),
                    signal = java_string(env, flat.signal), units = java_string(env, flat.units),
                    fullScaleSource = java_string(env, flat.fullScaleSource), hrvNote = java_string(env, flat.hrvNote);
  LocalRef<jlongArray> beat200 = java_longs(env, flat.beatSamples200Hz), beatFile = java_longs(env, flat.beatFileSamples),
                       stretch200 = java_longs(env, flat.stretchSamples200Hz);
  LocalRef<jbooleanArray> beatExtra = java_booleans(env, flat.beatIsExtra);
  LocalRef<jdoubleArray> beatSeconds = java_doubles(env, flat.beatSeconds),
                         windowSeconds = java_doubles(env, flat.windowSeconds),
                         stretchSeconds = java_doubles(env, flat.stretchSeconds),
                         segments = java_doubles(env, flat.segmentRows);
  LocalRef<jdoubleArray> hrv = flat.hrv ? java_doubles(env, *flat.hrv) : LocalRef<jdoubleArray>(env, nullptr);
  LocalRef<jintArray> windowCodes = java_ints(env, flat.windowCodes), stretchErrors = java_ints(env, flat.stretchErrors);
  LocalRef<jobjectArray> warnings = java_strings(env, flat.warnings);
  // Any allocation above that failed left an OutOfMemoryError pending.
  if (exception_pending(env)) return nullptr;
  return env->NewObject(cls.get(), constructor, source.get(), format.get(), signal.get(), units.get(),
                        flat.samplingRateHz, static_cast<jlong>(flat.sampleCount), flat.fullScale,
                        fullScaleSource.get(), flat.hr, flat.hrMean, beat200.get(), beatExtra.get(), beatFile.get(),
                        beatSeconds.get(), windowSeconds.get(), windowCodes.get(), stretch200.get(),
                        stretchSeconds.get(), stretchErrors.get(), hrv.get(), segments.get(), warnings.get(),
                        hrvNote.get());
}

}  // namespace zyn::jni
