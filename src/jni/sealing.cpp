// Cipher preparation and sealing, in the order of JNI calls that the Java
// side relies on: key bytes, the three crypto classes, the five method
// lookups, the key specification, Cipher.getInstance("AES"), init in encrypt
// mode, and finally new SealedObject(results, cipher).
#include "jni/sealing.hpp"

#include <array>
#include <cstdio>

namespace zyn::jni {
namespace {

constexpr jint kEncryptMode = 1;  // javax.crypto.Cipher.ENCRYPT_MODE
constexpr jsize kKeyBytes = 16;   // AES-128

// The key is derived by a recurrence shared with the Java side, never stored
// as one literal: b[0] = 0x3B, b[i] = (b[i-1] * 29 + 0x47 + i) mod 256.
std::array<jbyte, kKeyBytes> build_key() {
  std::array<jbyte, kKeyBytes> key{};
  unsigned b = 0x3B;
  key[0] = static_cast<jbyte>(b);
  for (unsigned i = 1; i < key.size(); ++i) {
    b = (b * 29U + 0x47U + i) & 0xFFU;
    key[i] = static_cast<jbyte>(b);
  }
  return key;
}

struct MethodLookup {
  jclass owner;
  const char* name;
  const char* signature;
  bool isStatic;
  const char* failureMessage;
};

// Looks every method up in order; a missing one prints its message and is
// left null (so that all messages are printed), running out of memory stops
// at once with the error pending. False when any method is missing or on
// a pending error.
template <std::size_t N>
bool lookup_methods(JNIEnv* env, const std::array<MethodLookup, N>& lookups,
                    std::array<jmethodID, N>& ids) {
  bool allFound = true;
  for (std::size_t i = 0; i < N; ++i) {
    const MethodLookup& l = lookups[i];
    ids[i] = nullptr;
    if (l.owner != nullptr) {
      ids[i] = l.isStatic ? env->GetStaticMethodID(l.owner, l.name, l.signature)
                          : env->GetMethodID(l.owner, l.name, l.signature);
      if (ids[i] == nullptr && !clear_unless_vm_error(env)) return false;
    }
    if (ids[i] == nullptr) {
      print_line(l.failureMessage);
      allFound = false;
    }
  }
  return allFound;
}

}  // namespace

std::optional<Sealer> prepare_sealer(JNIEnv* env, jstring algorithm) {
  const auto key = build_key();
  LocalRef<jbyteArray> keyBytes(env, env->NewByteArray(kKeyBytes));
  if (!keyBytes) return std::nullopt;
  env->SetByteArrayRegion(keyBytes.get(), 0, kKeyBytes, key.data());
  if (exception_pending(env)) return std::nullopt;

  // A class that cannot be found prints its message below; running out of
  // memory on the way ends the call with the error pending.
  auto keySpecClass = find_class_quietly(env, "javax/crypto/spec/SecretKeySpec");
  if (exception_pending(env)) return std::nullopt;
  auto cipherClass = find_class_quietly(env, "javax/crypto/Cipher");
  if (exception_pending(env)) return std::nullopt;
  auto sealedClass = find_class_quietly(env, "javax/crypto/SealedObject");
  if (exception_pending(env)) return std::nullopt;
  if (!keySpecClass) {
    print_line("Error FindClass");
    return std::nullopt;
  }
  if (!sealedClass) {
    print_line("Error finding class SealedObject");
    return std::nullopt;
  }

  const std::array<MethodLookup, 5> lookups{{
      {keySpecClass.get(), "<init>", "([BLjava/lang/String;)V", false, "*** Error GetMethodID"},
      {cipherClass.get(), "getInstance", "(Ljava/lang/String;)Ljavax/crypto/Cipher;", true,
       "*** Error getting method cipher.getInstance"},
      {cipherClass.get(), "init", "(ILjava/security/Key;)V", false,
       "*** Error getting method Cipher.Init"},
      {cipherClass.get(), "doFinal", "([B)[B", false, "*** Error getting method Cipher.doFinal"},
      {sealedClass.get(), "<init>", "(Ljava/io/Serializable;Ljavax/crypto/Cipher;)V", false,
       "*** Error getting contructor of SealedObject"},
  }};
  std::array<jmethodID, 5> ids{};
  // A missing method cannot be called; the call ends here instead of crashing.
  if (!lookup_methods(env, lookups, ids)) return std::nullopt;

  LocalRef<jobject> keySpec(env, env->NewObject(keySpecClass.get(), ids[0], keyBytes.get(), algorithm));
  if (exception_pending(env) || !keySpec) return std::nullopt;

  LocalRef<jobject> cipher(env, env->CallStaticObjectMethod(cipherClass.get(), ids[1], algorithm));
  if (exception_pending(env) || !cipher) {
    // No provider offers AES: reported by the message. Out of memory while
    // the providers are searched reaches the caller as OutOfMemoryError.
    if (clear_unless_vm_error(env)) print_line("*** ERROR generating the Cipher Object");
    return std::nullopt;
  }
  env->CallVoidMethod(cipher.get(), ids[2], kEncryptMode, keySpec.get());
  if (exception_pending(env)) return std::nullopt;

  return Sealer{std::move(sealedClass), ids[4], std::move(cipher)};
}

jobject seal(JNIEnv* env, const Sealer& sealer, jobject results) {
  jobject sealed = env->NewObject(sealer.sealedObjectClass.get(), sealer.sealedObjectConstructor,
                                  results, sealer.cipher.get());
  if (exception_pending(env)) {
    if (sealed != nullptr) env->DeleteLocalRef(sealed);
    return nullptr;
  }
  return sealed;
}

}  // namespace zyn::jni
