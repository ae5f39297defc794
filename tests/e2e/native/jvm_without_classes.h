/* What JVM libraries for tests answer alike: each class, method and text is there, and nothing is
 * thrown. */

#ifndef VELOX_TESTS_E2E_NATIVE_JVM_WITHOUT_CLASSES_H
#define VELOX_TESTS_E2E_NATIVE_JVM_WITHOUT_CLASSES_H

#include <jni.h>

static int something;

static jclass findClass(JNIEnv* java, const char* name) {
  (void)java, (void)name;
  return (jclass)&something;
}
static jmethodID methodOf(JNIEnv* java, jclass type, const char* name, const char* signature) {
  (void)java, (void)type, (void)name, (void)signature;
  return (jmethodID)&something;
}
static jstring newText(JNIEnv* java, const char* text) {
  (void)java, (void)text;
  return (jstring)&something;
}
static jboolean checkException(JNIEnv* java) {
  (void)java;
  return JNI_FALSE;
}

#endif
