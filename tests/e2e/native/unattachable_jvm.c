/* A JVM library that takes no further thread, and whose application never ends by itself. */

#include <jni.h>
#include <stdio.h>
#include <unistd.h>

#include "jvm_without_classes.h"

static jobject callForObject(JNIEnv* java, jclass type, jmethodID method, va_list arguments) {
  (void)java, (void)type, (void)method, (void)arguments;
  return NULL;
}
static void call(JNIEnv* java, jclass type, jmethodID method, va_list arguments) {
  (void)java, (void)type, (void)method, (void)arguments;
  puts("ready");
  fflush(stdout);
  for (;;) pause();
}
static jobjectArray newArray(JNIEnv* java, jsize size, jclass type, jobject first) {
  (void)java, (void)size, (void)type, (void)first;
  return (jobjectArray)&something;
}
static jobject newReference(JNIEnv* java, jobject object) {
  (void)java;
  return object;
}
static void clearException(JNIEnv* java) {
  (void)java;
}
static jint environment(JavaVM* vm, void** java, jint version) {
  (void)vm, (void)java, (void)version;
  return JNI_EDETACHED;
}
static jint attach(JavaVM* vm, void** java, void* arguments) {
  (void)vm, (void)java, (void)arguments;
  return JNI_ERR;
}

static const struct JNINativeInterface_ functions = {.FindClass = findClass,
                                                     .GetStaticMethodID = methodOf,
                                                     .NewStringUTF = newText,
                                                     .CallStaticObjectMethodV = callForObject,
                                                     .CallStaticVoidMethodV = call,
                                                     .NewObjectArray = newArray,
                                                     .NewGlobalRef = newReference,
                                                     .ExceptionCheck = checkException,
                                                     .ExceptionClear = clearException};
static const struct JNIInvokeInterface_ invocation = {.GetEnv = environment,
                                                      .AttachCurrentThread = attach};

jint JNI_CreateJavaVM(JavaVM** vm, void** java, void* arguments) {
  (void)arguments;
  static JNIEnv own = &functions;
  static JavaVM machine = &invocation;
  *vm = &machine;
  *java = &own;
  return JNI_OK;
}
