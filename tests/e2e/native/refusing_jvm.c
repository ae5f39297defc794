/* A JVM library that refuses to create a JVM, and says $JVM_SAYS. */

#include <jni.h>
#include <stdio.h>
#include <stdlib.h>

jint JNI_CreateJavaVM(JavaVM** vm, void** environment, void* arguments) {
  (void)vm, (void)environment, (void)arguments;
  const char* says = getenv("JVM_SAYS");
  if (says != NULL) fputs(says, stderr);
  return JNI_ERR;
}
