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
  jmethodID id;
  const char* failureMessage;
};

jmethodID lookup_method(JNIEnv* env, jclass c, const char* name, const char* sig, bool isStatic) {
  if (c == nullptr) return nullptr;
  jmethodID m = isStatic ? env->GetStaticMethodID(c, name, sig) : env->GetMethodID(c, name, sig);
  if (m == nullptr) env->ExceptionClear();
  return m;
}

}  // namespace

std::optional<Sealer> prepare_sealer(JNIEnv* env, jstring algorithm) {
  const auto key = build_key();
  LocalRef<jbyteArray> keyBytes(env, env->NewByteArray(kKeyBytes));
  if (!keyBytes) return std::nullopt;
  env->SetByteArrayRegion(keyBytes.get(), 0, kKeyBytes, key.data());
  if (exception_pending(env)) return std::nullopt;

  auto keySpecClass = find_class_quietly(env, "javax/crypto/spec/SecretKeySpec");
  auto cipherClass = find_class_quietly(env, "javax/crypto/Cipher");
  auto sealedClass = find_class_quietly(env, "javax/crypto/SealedObject");
  if (!keySpecClass) {
    print_line("Error FindClass");
    return std::nullopt;
  }
  if (!sealedClass) {
    print_line("Error finding class SealedObject");
    return std::nullopt;
  }

  const std::array<MethodLookup, 5> lookups{{
      {lookup_method(env, keySpecClass.get(), "<init>", "([BLjava/lang/String;)V", false),
       "*** Error GetMethodID"},
      {lookup_method(env, cipherClass.get(), "getInstance",
                     "(Ljava/lang/String;)Ljavax/crypto/Cipher;", true),
       "*** Error getting method cipher.getInstance"},
      {lookup_method(env, cipherClass.get(), "init", "(ILjava/security/Key;)V", false),
       "*** Error getting method Cipher.Init"},
      {lookup_method(env, cipherClass.get(), "doFinal", "([B)[B", false),
       "*** Error getting method Cipher.doFinal"},
      {lookup_method(env, sealedClass.get(), "<init>",
                     "(Ljava/io/Serializable;Ljavax/crypto/Cipher;)V", false),
       "*** Error getting contructor of SealedObject"},
  }};
  bool allFound = true;
  for (const auto& l : lookups) {
    if (l.id == nullptr) {
      print_line(l.failureMessage);
      allFound = false;
    }
  }
  // A missing method cannot be called; the call ends here instead of crashing.
  if (!allFound) return std::nullopt;

  LocalRef<jobject> keySpec(env, env->NewObject(keySpecClass.get(), lookups[0].id, keyBytes.get(), algorithm));
  if (exception_pending(env) || !keySpec) return std::nullopt;

  LocalRef<jobject> cipher(env, env->CallStaticObjectMethod(cipherClass.get(), lookups[1].id, algorithm));
  if (exception_pending(env) || !cipher) {
    print_line("*** ERROR generating the Cipher Object");
    env->ExceptionClear();
    return std::nullopt;
  }
  env->CallVoidMethod(cipher.get(), lookups[2].id, kEncryptMode, keySpec.get());
  if (exception_pending(env)) return std::nullopt;

  return Sealer{std::move(sealedClass), lookups[4].id, std::move(cipher)};
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
