#ifndef VELOX_PLATFORM_DIRECTORY_H
#define VELOX_PLATFORM_DIRECTORY_H

#include <dirent.h>
#include <sys/stat.h>

/// Owns an open directory. Move-only. Every call but operator bool REQUIRES a valid directory.
class Directory {
 public:
  /// Invalid when the directory cannot be opened.
  explicit Directory(const char* path);
  Directory(const Directory&) = delete;
  Directory(Directory&& other) noexcept;
  Directory& operator=(const Directory&) = delete;
  Directory& operator=(Directory&&) = delete;
  ~Directory();

  explicit operator bool() const { return stream_ != nullptr; }

  /// The child directory of that name, without a length limit on the whole path; a symbolic link
  /// gives an invalid one.
  [[nodiscard]] Directory openChild(const char* name) const;
  /// The name of the next entry in reading order, valid until the next call; null at the end.
  const char* next();
  /// lstat of an entry; false on failure.
  bool status(const char* name, struct stat& status) const;

 private:
  explicit Directory(DIR* stream) : stream_(stream) {}

  DIR* stream_;
};

#endif
