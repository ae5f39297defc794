/* A JVM library that writes what a JVM writes about archives, and whose classes cannot be loaded.
 */

#include <jni.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "jvm_without_classes.h"

static jobject call(JNIEnv* java, jobject object, jmethodID method, va_list arguments) {
  (void)java, (void)object, (void)method, (void)arguments;
  return (jobject)&something;
}
static jthrowable exception(JNIEnv* java) {
  (void)java;
  return (jthrowable)&something;
}
static void clearException(JNIEnv* java) {
  (void)java;
}
static const char* characters(JNIEnv* java, jstring text, jboolean* isCopy) {
  (void)java, (void)text, (void)isCopy;
  return "no class KvfTrialOfAnother";
}
static jint destroy(JavaVM* vm) {
  (void)vm;
  return JNI_OK;
}

static const struct JNINativeInterface_ functions = {.FindClass = findClass,
                                                     .GetMethodID = methodOf,
                                                     .GetStaticMethodID = methodOf,
                                                     .NewStringUTF = newText,
                                                     .CallObjectMethodV = call,
                                                     .CallStaticObjectMethodV = call,
                                                     .ExceptionCheck = checkException,
                                                     .ExceptionOccurred = exception,
                                                     .ExceptionClear = clearException,
                                                     .GetStringUTFChars = characters};
static const struct JNIInvokeInterface_ invocation = {.DestroyJavaVM = destroy};

static void writeFile(const char* option, const char* start, const char* text) {
  if (strncmp(option, start, strlen(start)) != 0) return;
  FILE* file = fopen(option + strlen(start), "w");
  if (file == NULL) exit(1);
  if (fputs(text, file) < 0 || fclose(file) != 0) exit(1);
}

jint JNI_CreateJavaVM(JavaVM** vm, void** environment, void* arguments) {
  static JNIEnv java = &functions;
  static JavaVM own = &invocation;
  const JavaVMInitArgs* init = arguments;
  int dumps = 0;
  for (jint i = 0; i < init->nOptions; ++i) {
    const char* option = init->options[i].optionString;
    if (strcmp(option, "-Xshare:dump") == 0) dumps = 1;
    if (dumps) writeFile(option, "-XX:SharedArchiveFile=", "\xA2\xAB\x0B\xF0");
    writeFile(option, "-XX:DumpLoadedClassList=", "probe/Probe\n");
    writeFile(option, "-Xlog:class+load=info:file=",
              "[1] probe.Probe source: shared objects file\n"
              "[1] KvfTrial source: shared objects file\n");
  }
  if (dumps) exit(0);
  *vm = &own;
  *environment = &java;
  return JNI_OK;
}
