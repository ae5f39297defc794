/* A JVM library that refuses to create a JVM. */

#include <jni.h>

jint JNI_CreateJavaVM(JavaVM** vm, void** environment, void* arguments) {
  (void)vm, (void)environment, (void)arguments;
  return JNI_ERR;
}
