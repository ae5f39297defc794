#ifndef VELOX_PLATFORM_DIRECTORY_H
#define VELOX_PLATFORM_DIRECTORY_H

#include <dirent.h>
#include <sys/types.h>

/// Owns an open directory. Move-only. Every call but operator bool REQUIRES a valid directory.
/// Exhausted memory throws the default memory exception.
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
  /// True when the entry that next() gave last is a directory, no link to one.
  [[nodiscard]] bool isDirectory() const;
  /// True when it is a regular file, no link to one. The file itself is looked at: a listing does
  /// not show what is mounted over it. False where nothing in the directory can be reached.
  [[nodiscard]] bool isRegularFile() const;

 private:
  explicit Directory(DIR* stream) : stream_(stream) {}

  /// The mode of the latest entry, of a link itself; 0 when it cannot be reached.
  [[nodiscard]] mode_t lookUpMode() const;

  DIR* stream_;
  const dirent* entry_ = nullptr;
};

#endif
