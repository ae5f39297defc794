#ifndef VELOX_KVF_PROCESS_FILESTAMP_H
#define VELOX_KVF_PROCESS_FILESTAMP_H

#include <cstdint>
#include <filesystem>

/// What is at a path, in numbers.
struct FileStamp {
  bool isThere = false;
  bool isFolder = false;
  std::int64_t bytes = 0;
  std::int64_t seconds = 0;  ///< of the last change, since 1970
  /// Why it cannot be told; 0 also where this user, and so a program, finds nothing.
  int error = 0;
};
FileStamp stampOf(const std::filesystem::path& file);

#endif
