#ifndef VELOX_KVF_CDS_STALECODETRIAL_H
#define VELOX_KVF_CDS_STALECODETRIAL_H

#include <filesystem>
#include <string>

#include "kvf/cds/ArchiveKind.h"
#include "kvf/jvm/JvmSearch.h"

/// Whether a JVM runs the current code, and not the code that an archive was made from.
struct StaleCodeTrial {
  bool isRight = false;
  std::string complaint;  ///< why not, in a sentence
};

/// Makes an archive of this kind for a jar with one class, replaces the jar by one with another
/// class of that name, and sees which of them the JVM loads. Starts the JVM several times.
StaleCodeTrial tryReplacedJar(const ArchiveKind& kind, const Jvm& jvm,
                              const std::filesystem::path& scratchFolder);

#endif
