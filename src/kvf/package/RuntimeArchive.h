#ifndef VELOX_KVF_PACKAGE_RUNTIMEARCHIVE_H
#define VELOX_KVF_PACKAGE_RUNTIMEARCHIVE_H

#include <string>

#include "kvf/jvm/JvmSearch.h"

enum class RuntimeArchive {
  there,  ///< it came with the runtime
  made,   ///< by the runtime's own java, which takes a second or two
  impossible,
};

struct RuntimeArchiveEnd {
  RuntimeArchive result = RuntimeArchive::there;
  std::string reason;  ///< why there is none, in a line
};

/// Gives a runtime that lacks it the class-data archive of its own classes, beside the JVM's
/// library: one by jlink has none, and takes twice as long to start. Throws Interruption.
RuntimeArchiveEnd completeClassData(const Jvm& runtime);

#endif
