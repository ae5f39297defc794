/* The least that can start a Java program: loads the JVM library, creates the JVM and calls main on
   the main thread.

   Usage: bare_launcher LIBJVM CLASSPATH CLASS */
#include <dlfcn.h>
#include <jni.h>
#include <stdio.h>

typedef jint(JNICALL* CreateJavaVm)(JavaVM**, void**, void*);

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  void* library = dlopen(argv[1], RTLD_LAZY | RTLD_GLOBAL);
  if (library == NULL) return 2;
  CreateJavaVm create;
  *(void**)&create = dlsym(library, "JNI_CreateJavaVM");

  char class_path[4096];
  snprintf(class_path, sizeof class_path, "-Djava.class.path=%s", argv[2]);
  JavaVMOption option = {class_path, NULL};
  JavaVMInitArgs arguments = {JNI_VERSION_1_6, 1, &option, JNI_TRUE};
  JavaVM* vm = NULL;
  JNIEnv* env = NULL;
  if (create == NULL || create(&vm, (void**)&env, &arguments) != JNI_OK) return 2;

  jclass start = (*env)->FindClass(env, argv[3]);
  if (start == NULL) return 2;
  jmethodID method = (*env)->GetStaticMethodID(env, start, "main", "([Ljava/lang/String;)V");
  jclass string = (*env)->FindClass(env, "java/lang/String");
  (*env)->CallStaticVoidMethod(env, start, method, (*env)->NewObjectArray(env, 0, string, NULL));
  (*vm)->DestroyJavaVM(vm);
  return 0;
}
