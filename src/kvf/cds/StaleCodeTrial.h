#ifndef VELOX_KVF_CDS_STALECODETRIAL_H
#define VELOX_KVF_CDS_STALECODETRIAL_H

#include <filesystem>
#include <string>

#include "kvf/cds/ArchiveKind.h"
#include "kvf/jvm/JvmSearch.h"

/// Whether a JVM runs the code that is there, and not what an archive remembers.
struct StaleCodeTrial {
  bool isRight = false;
  std::string complaint;  ///< why not, in a sentence
};

/// Makes an archive of this kind of a jar with one class, replaces the jar by one with another
/// class of that name, and sees which of them the JVM loads. Takes some starts of the JVM.
StaleCodeTrial tryReplacedJar(const ArchiveKind& kind, const Jvm& jvm,
                              const std::filesystem::path& scratchFolder);

#endif
