// Pending-exception triage of the Java boundary: what a call reports by a
// message is cleared, a failure of the virtual machine reaches the caller.
#include "jni/jni_refs.hpp"

namespace zyn::jni {
namespace {

// Libraries wrap a failure at most a few levels deep (reflection inside a
// provider lookup inside Cipher.getInstance); the chain is followed no further.
constexpr int kCauseChainDepth = 8;

}  // namespace

bool clear_unless_vm_error(JNIEnv* env) {
  LocalRef<jthrowable> link(env, env->ExceptionOccurred());
  if (!link) return true;
  env->ExceptionClear();
  // Any failed lookup below leaves its own error (out of memory) pending.
  LocalRef<jclass> vmError(env, env->FindClass("java/lang/VirtualMachineError"));
  if (!vmError) return false;
  LocalRef<jclass> throwable(env, env->FindClass("java/lang/Throwable"));
  if (!throwable) return false;
  jmethodID getCause = env->GetMethodID(throwable.get(), "getCause", "()Ljava/lang/Throwable;");
  if (getCause == nullptr) return false;
  for (int depth = 0; link && depth < kCauseChainDepth; ++depth) {
    if (env->IsInstanceOf(link.get(), vmError.get()) == JNI_TRUE) {
      env->Throw(link.get());
      return false;
    }
    LocalRef<jthrowable> cause(env, static_cast<jthrowable>(env->CallObjectMethod(link.get(), getCause)));
    if (exception_pending(env)) return false;
    link = std::move(cause);
  }
  return true;
}

}  // namespace zyn::jni
