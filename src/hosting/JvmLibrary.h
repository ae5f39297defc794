#ifndef VELOX_HOSTING_JVMLIBRARY_H
#define VELOX_HOSTING_JVMLIBRARY_H

#include "foundation/WString.h"

/// Which library a run loads as its JVM.
struct JvmLibrary {
  enum class Source {
    configured,     ///< the file that java.library names
    systemDefault,  ///< libjvm.so, wherever the dynamic loader finds it
    none            ///< nothing is configured
  };

  Source source;
  WString path;  ///< what the loader is asked for; empty for none

  /// Chooses by the value of java.library. `isThere` tells whether a path leads to a file.
  static JvmLibrary choose(const WString& configured, bool (*isThere)(const char* path));
};

#endif
