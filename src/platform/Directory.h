#ifndef VELOX_PLATFORM_DIRECTORY_H
#define VELOX_PLATFORM_DIRECTORY_H

#include <optional>

#include <dirent.h>

/// What a listing tells apart; links, devices and what has gone meanwhile are other.
enum class EntryType { directory, regularFile, other };

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
  /// The type of the entry that next() gave last. Links are not followed.
  EntryType type();

 private:
  explicit Directory(DIR* stream) : stream_(stream) {}

  /// lstat of an entry as a type of readdir's.
  [[nodiscard]] unsigned char lookUpType(const char* name) const;

  DIR* stream_;
  const dirent* entry_ = nullptr;
  std::optional<bool> canLookUp_;  ///< found out with the first type
};

#endif
