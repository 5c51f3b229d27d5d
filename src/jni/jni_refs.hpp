// RAII guards for JNI local references, so that every path out of a native
// method releases what it made, and a check for pending Java exceptions.
#pragma once

#include <jni.h>

#include <cstdio>
#include <utility>

namespace zyn::jni {

// Owns one local reference and deletes it when it goes out of scope.
template <class T>
class LocalRef {
 public:
  LocalRef(JNIEnv* env, T ref) noexcept : env_(env), ref_(ref) {}
  LocalRef(const LocalRef&) = delete;
  LocalRef& operator=(const LocalRef&) = delete;
  LocalRef(LocalRef&& other) noexcept : env_(other.env_), ref_(std::exchange(other.ref_, nullptr)) {}
  ~LocalRef() {
    if (ref_ != nullptr) env_->DeleteLocalRef(ref_);
  }
  T get() const noexcept { return ref_; }
  // Hands the reference to the caller (the value a native method returns).
  T release() noexcept { return std::exchange(ref_, nullptr); }
  explicit operator bool() const noexcept { return ref_ != nullptr; }

 private:
  JNIEnv* env_;
  T ref_;
};

// One line on standard output, flushed at once so that it is seen in order
// with the host's own output.
inline void print_line(const char* message) {
  std::puts(message);
  std::fflush(stdout);
}

inline bool exception_pending(JNIEnv* env) { return env->ExceptionCheck() == JNI_TRUE; }

// A class lookup that may fail without leaving an exception pending, for the
// lookups whose failure is reported by a printed message and a null result.
inline LocalRef<jclass> find_class_quietly(JNIEnv* env, const char* name) {
  jclass c = env->FindClass(name);
  if (c == nullptr) env->ExceptionClear();
  return {env, c};
}

}  // namespace zyn::jni
