// Sealing of results objects in a javax.crypto.SealedObject under an AES
// cipher whose 16-byte key is built at run time and agreed with the Java
// class com.zyn.zynsolver.SealingKey.
#pragma once

#include <jni.h>

#include <optional>

#include "jni/jni_refs.hpp"

namespace zyn::jni {

// A cipher in encrypt mode and the sealed-object constructor, ready to seal.
struct Sealer {
  LocalRef<jclass> sealedObjectClass;
  jmethodID sealedObjectConstructor;
  LocalRef<jobject> cipher;
};

// Prepares the cipher before any analysis. Prints the documented message
// and returns nothing when a class or method is missing or the cipher cannot
// be made; any other Java exception is left pending.
std::optional<Sealer> prepare_sealer(JNIEnv* env, jstring algorithm);

// Seals a complete results object; null with an exception pending on failure.
jobject seal(JNIEnv* env, const Sealer& sealer, jobject results);

}  // namespace zyn::jni
