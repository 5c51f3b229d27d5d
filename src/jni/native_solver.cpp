// Native methods of com.zyn.zynsolver.NativeZYNecgSolver. Marshalling only:
// the results class and its fields are looked up, the cipher prepared, the
// samples copied out of the Java array, the analysis of src/analysis run, the
// fields written in the order of the results classes, and the object sealed.
//
// Every JNI call that can throw is followed by a check; a pending exception
// ends the call with null after everything made here has been released, so
// it surfaces in Java. No C++ exception leaves these functions: a failed
// allocation becomes an OutOfMemoryError.
#include <jni.h>

#include <array>
#include <new>
#include <optional>
#include <span>
#include <vector>

#include "analysis/pipelines.hpp"
#include "com_zyn_zynsolver_NativeZYNecgSolver.h"
#include "jni/jni_refs.hpp"
#include "jni/sealing.hpp"
#include "runtime/sample_pool.hpp"
#include "zynecgsolver/version.h"

namespace zyn::jni {
namespace {

// The limits the Java class publishes are the ones the analyses apply.
static_assert(com_zyn_zynsolver_NativeZYNecgSolver_QRS_MIN_SAMPLES == kQrsMinSamples);
static_assert(com_zyn_zynsolver_NativeZYNecgSolver_QRS_MAX_SAMPLES == kQrsMaxSamples);
static_assert(com_zyn_zynsolver_NativeZYNecgSolver_HRV_MIN_SAMPLES == kHrvMinSamples);
static_assert(com_zyn_zynsolver_NativeZYNecgSolver_HRV_MAX_SAMPLES == kHrvMaxSamples);

// How one results class is filled.
struct ResultsShape {
  const char* className;
  const char* missingClassMessage;
  std::array<const char*, 5> arrayFields;  // beats, extra, two reserved, qualities
  std::span<const char* const> statisticFields;  // doubles after "hr_mean"
};

constexpr std::array<const char*, 13> kHrvStatisticFields{
    "nn_rr", "avnn", "sdnn", "sdann", "sdnnidx", "rmssd", "pnn50",
    "tot_pwr", "ulf_pwr", "vlf_pwr", "lf_pwr", "hf_pwr", "lf_hf"};

const ResultsShape kQrsShape{
    "com/zyn/zynsolver/ZYNecgQrsResults",
    "*** ERROR: Could not find ZYNecgQrsResultsClass.",
    {"rpeaks", "extra_systoles", "qrs_onsets", "qrs_offsets", "qualities"},
    {}};
const ResultsShape kHrvShape{
    "com/zyn/zynsolver/ZYNecgResults",
    "*** ERROR: Could not find ZYNecgResultsClass.",
    {"rpeaks", "extra_systoles", "ppeaks", "tpeaks", "qualities"},
    kHrvStatisticFields};

// The results object and the IDs of its fields, in the order they are set.
struct ResultsObject {
  LocalRef<jclass> cls;
  LocalRef<jobject> object;
  jfieldID error = nullptr;
  jfieldID hr = nullptr;
  jfieldID hrMean = nullptr;
  std::vector<jfieldID> statistics;
  std::array<jfieldID, 5> arrays{};
};

std::optional<ResultsObject> make_results_object(JNIEnv* env, const ResultsShape& shape) {
  auto cls = find_class_quietly(env, shape.className);
  if (!cls) {
    if (!exception_pending(env)) print_line(shape.missingClassMessage);
    return std::nullopt;
  }
  jmethodID constructor = env->GetMethodID(cls.get(), "<init>", "()V");
  if (constructor == nullptr) return std::nullopt;
  LocalRef<jobject> object(env, env->NewObject(cls.get(), constructor));
  if (exception_pending(env) || !object) return std::nullopt;

  ResultsObject r{std::move(cls), std::move(object), nullptr, nullptr, nullptr, {}, {}};
  auto field = [&](const char* name, const char* sig) { return env->GetFieldID(r.cls.get(), name, sig); };
  if ((r.error = field("error", "I")) == nullptr) return std::nullopt;
  if ((r.hr = field("hr", "D")) == nullptr) return std::nullopt;
  if ((r.hrMean = field("hr_mean", "D")) == nullptr) return std::nullopt;
  for (const char* name : shape.statisticFields) {
    jfieldID id = field(name, "D");
    if (id == nullptr) return std::nullopt;
    r.statistics.push_back(id);
  }
  for (std::size_t i = 0; i < r.arrays.size(); ++i) {
    if ((r.arrays[i] = field(shape.arrayFields[i], "[I")) == nullptr) return std::nullopt;
  }
  return r;
}

// Copies the samples out of the Java array (nothing stays pinned or leaks)
// into an array of the process-wide scratch pool, so that a call leaves no
// recording-sized block behind in the C library's heap of its thread.
bool read_samples(JNIEnv* env, jdoubleArray ecg, std::optional<PooledSamples>& samples) {
  const jsize n = env->GetArrayLength(ecg);
  samples.emplace(PooledSamples::Overwritten{static_cast<std::size_t>(n)});
  if (n > 0) env->GetDoubleArrayRegion(ecg, 0, n, (**samples).data());
  return !exception_pending(env);
}

bool set_int_array(JNIEnv* env, jobject object, jfieldID field, const std::vector<int32_t>& values) {
  const auto n = static_cast<jsize>(values.size());
  LocalRef<jintArray> array(env, env->NewIntArray(n));
  if (!array) return false;
  env->SetIntArrayRegion(array.get(), 0, n, reinterpret_cast<const jint*>(values.data()));
  if (exception_pending(env)) return false;
  env->SetObjectField(object, field, array.get());
  return !exception_pending(env);
}

// Writes the fields in table order: error, hr, hr_mean, statistics, arrays.
bool write_fields(JNIEnv* env, const ResultsObject& r, const BeatAnalysis& a,
                  std::span<const double> statistics) {
  jobject o = r.object.get();
  env->SetIntField(o, r.error, a.error);
  env->SetDoubleField(o, r.hr, a.hr);
  env->SetDoubleField(o, r.hrMean, a.hrMean);
  for (std::size_t i = 0; i < r.statistics.size() && i < statistics.size(); ++i) {
    env->SetDoubleField(o, r.statistics[i], statistics[i]);
  }
  const std::vector<int32_t> reserved(static_cast<std::size_t>(a.beatArrayLength), -1);
  const std::array<const std::vector<int32_t>*, 5> arrays{&a.rpeaks, &a.extraSystoles, &reserved,
                                                          &reserved, &a.qualities};
  for (std::size_t i = 0; i < arrays.size(); ++i) {
    if (!set_int_array(env, o, r.arrays[i], *arrays[i])) return false;
  }
  return true;
}

std::span<const double> statistics_of(const QrsAnalysis&) { return {}; }

std::vector<double> statistics_of(const HrvAnalysis& a) {
  std::vector<double> s(a.timeDomain.begin(), a.timeDomain.end());
  s.insert(s.end(), a.frequencyDomain.begin(), a.frequencyDomain.end());
  return s;
}

// One analysis call from Java: the sequence shared by both native methods.
template <class Analyse>
jobject run_sealed_analysis(JNIEnv* env, const ResultsShape& shape, jdoubleArray ecg, jint fs,
                            jint startSeconds, jint qualityWindowSeconds, jdouble fullScale,
                            Analyse analyse) {
  LocalRef<jstring> algorithm(env, env->NewStringUTF("AES"));
  if (!algorithm) return nullptr;
  auto results = make_results_object(env, shape);
  if (!results) return nullptr;
  auto sealer = prepare_sealer(env, algorithm.get());
  if (!sealer) return nullptr;

  std::optional<PooledSamples> samples;
  if (ecg != nullptr && !read_samples(env, ecg, samples)) return nullptr;
  AnalysisRequest request;
  if (samples) request.ecg = std::span<const double>(**samples);
  request.fs = fs;
  request.startSeconds = startSeconds;
  request.qualityWindowSeconds = qualityWindowSeconds;
  request.fullScale = fullScale;
  const auto analysis = analyse(request);
  // The pooled copy of the samples is returned last, after the results'
  // heap arrays are freed: when it ends a burst of more analyses at once
  // than the pool serves, the heaps are trimmed with those arrays free.

  const auto statistics = statistics_of(analysis);
  if (!write_fields(env, *results, analysis, statistics)) return nullptr;
  return seal(env, *sealer, results->object.get());
}

// Throws a new exception of the class unless one is already pending.
void throw_new(JNIEnv* env, const char* className, const char* message) {
  if (exception_pending(env)) return;
  LocalRef<jclass> cls(env, env->FindClass(className));
  if (cls) env->ThrowNew(cls.get(), message);
}

template <class Body>
jobject guarded_call(JNIEnv* env, Body body) noexcept {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    throw_new(env, "java/lang/OutOfMemoryError", "native ECG analysis could not allocate memory");
  } catch (...) {
    throw_new(env, "java/lang/IllegalStateException", "native ECG analysis failed");
  }
  return nullptr;
}

}  // namespace
}  // namespace zyn::jni

extern "C" {

JNIEXPORT jobject JNICALL Java_com_zyn_zynsolver_NativeZYNecgSolver_runQRSDetection(
    JNIEnv* env, jobject, jdoubleArray ecg, jint fs, jint startSeconds, jint qualityWindowSeconds,
    jdouble fullScale) {
  using namespace zyn::jni;
  return guarded_call(env, [&] {
    return run_sealed_analysis(env, kQrsShape, ecg, fs, startSeconds, qualityWindowSeconds,
                               fullScale, zyn::analyse_qrs);
  });
}

JNIEXPORT jobject JNICALL Java_com_zyn_zynsolver_NativeZYNecgSolver_runHRV(
    JNIEnv* env, jobject, jdoubleArray ecg, jint fs, jint startSeconds, jint qualityWindowSeconds,
    jdouble fullScale) {
  using namespace zyn::jni;
  return guarded_call(env, [&] {
    return run_sealed_analysis(env, kHrvShape, ecg, fs, startSeconds, qualityWindowSeconds,
                               fullScale, zyn::analyse_hrv);
  });
}

JNIEXPORT jstring JNICALL Java_com_zyn_zynsolver_NativeZYNecgSolver_getVersion(JNIEnv* env, jobject) {
  return env->NewStringUTF(zyn_version());
}

}  // extern "C"
