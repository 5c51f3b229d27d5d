// RAII guards for JNI local references, so that every path out of a native
// method releases what it made, and the handling of pending Java exceptions:
// failures that the boundary reports by a message are cleared, failures of
// the virtual machine itself (out of memory) are left to reach the caller.
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
  LocalRef& operator=(LocalRef&& other) noexcept {
    if (this != &other) {
      if (ref_ != nullptr) env_->DeleteLocalRef(ref_);
      env_ = other.env_;
      ref_ = std::exchange(other.ref_, nullptr);
    }
    return *this;
  }
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

// Clears the pending exception, unless it is or was caused by a failure of
// the virtual machine (an OutOfMemoryError, also when a library wrapped it
// in an exception of its own): that error is thrown again, as itself, so that
// the caller sees it. Returns true when nothing is left pending.
bool clear_unless_vm_error(JNIEnv* env);

// A class lookup whose failure is reported by a printed message and a null
// result: a missing class leaves nothing pending, running out of memory
// leaves the OutOfMemoryError pending.
inline LocalRef<jclass> find_class_quietly(JNIEnv* env, const char* name) {
  jclass c = env->FindClass(name);
  if (c == nullptr) clear_unless_vm_error(env);
  return {env, c};
}

}  // namespace zyn::jni
