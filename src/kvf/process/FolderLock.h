#ifndef VELOX_KVF_PROCESS_FOLDERLOCK_H
#define VELOX_KVF_PROCESS_FOLDERLOCK_H

#include <filesystem>

#include "kvf/process/Descriptor.h"

/// While it lives, no other process holds it for this folder. Waits for that as long as it takes;
/// throws FileError, and Interruption.
class FolderLock {
 public:
  explicit FolderLock(const std::filesystem::path& folder);

 private:
  Descriptor folder_;
};

#endif
