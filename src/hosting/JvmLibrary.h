#ifndef VELOX_HOSTING_JVMLIBRARY_H
#define VELOX_HOSTING_JVMLIBRARY_H

#include <jni.h>

#include "foundation/WString.h"
#include "platform/SharedLibrary.h"

/// Which library a run loads as its JVM.
struct JvmLibrary {
  enum class Source {
    configured,     ///< the file that java.library names
    systemDefault,  ///< libjvm.so, wherever the dynamic loader finds it
    none            ///< nothing is configured
  };

  Source source;
  WString path;  ///< what the loader is asked for; empty for none

  /// Chooses by the value of java.library.
  static JvmLibrary choose(const WString& configured);
};

/// The JVM's shared library in this process, of which there is at most one.
class JVM_SharedLibMgr {
 public:
  /// The library's bare default name; the dynamic loader's search path decides which file it is.
  static WString GetJvmLibPath();

  /// True once a library is loaded; a later call does not load another. Ends the process when the
  /// file cannot be loaded.
  static bool LoadSharedLibrary(const WString& path);
  /// The same for GetJvmLibPath().
  static bool LoadSharedLibrary();

  /// Calls JNI_CreateJavaVM of the loaded library (else of the default one) and returns its status.
  /// A library without that function ends the process. The last argument is not used.
  static jint JNI_CreateJavaVM(JavaVM** vm, void** env, void* initArgs, const WString& libraryPath);

  /// Closes the library; nothing of it may be touched afterwards, nor another be loaded.
  static void UnloadLibrary();

 private:
  static SharedLibrary s_LibHandle;
};

/// Reports a symbol that was not found, that is a null address.
void CheckFunctionLoad(void* address, const char* name);

#endif
