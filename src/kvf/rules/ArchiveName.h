#ifndef VELOX_KVF_RULES_ARCHIVENAME_H
#define VELOX_KVF_RULES_ARCHIVENAME_H

#include <string>

/// "acme-lib-1.0-linux.jar" taken apart.
struct ArchiveName {
  std::string stem;     ///< "acme-lib"
  std::string version;  ///< "1.0"; empty: none
  std::string rest;     ///< "-linux"

  [[nodiscard]] bool isSameWithout(const ArchiveName& other) const {
    return stem == other.stem && rest == other.rest;
  }
};

/// Of a file by its name; what is no version belongs to the stem.
ArchiveName archiveNameOf(const std::string& path);

/// An archive beside one that is missing, in another version or of a name that is nearly the same;
/// empty: none.
std::string archiveLike(const std::string& path);

#endif
