#ifndef VELOX_KVF_PROCESS_FILES_H
#define VELOX_KVF_PROCESS_FILES_H

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kvf/process/FileError.h"

/// Everything that is written to the user's disk, and reading where an error must not pass for an
/// empty file. All of it throws FileError, and Interruption between two pieces of a long file.

/// Owns a file descriptor.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor();

  [[nodiscard]] int number() const { return number_; }
  /// The number, which the caller has to close.
  int release() { return std::exchange(number_, -1); }

 private:
  int number_;
};

/// A regular file of at most 64 MiB.
std::string readWhole(const std::filesystem::path& file);
/// A regular file of any size, piece by piece.
void readInPieces(const std::filesystem::path& file,
                  const std::function<void(std::string_view)>& take);
/// A file of which some places are read.
class RandomAccessFile {
 public:
  explicit RandomAccessFile(std::filesystem::path file);
  /// The bytes from an offset on, fewer at the end of the file.
  [[nodiscard]] std::string at(std::uint64_t offset, std::size_t count) const;

 private:
  std::filesystem::path file_;
  Descriptor descriptor_;
};
/// What is in a folder. Unlike the walk of the standard library it never ends the process when
/// memory runs out.
std::vector<std::string> namesIn(const std::filesystem::path& folder);
/// What is at a path, in numbers.
struct FileStamp {
  bool isThere = false;
  bool isFolder = false;
  std::int64_t bytes = 0;
  std::int64_t seconds = 0;  ///< of the last change, since 1970
  int error =
      0;  ///< why it cannot be told; 0 also where this user, and so a program, finds nothing
};
FileStamp stampOf(const std::filesystem::path& file);
/// The mode that a program's new files usually have: what the umask leaves of 0666. REQUIRES: no
/// other threads.
unsigned usualFileMode();
/// Makes a new file with exactly this mode, independent of the umask.
void writeNewFile(const std::filesystem::path& file, std::string_view text, unsigned mode);
/// The same from another, regular file.
void copyToNewFile(const std::filesystem::path& source, const std::filesystem::path& file,
                   unsigned mode);
/// Gives a new file the owner, the mode and the extended attributes of the one it is to replace.
void takeAttributes(const std::filesystem::path& file, const std::filesystem::path& replaced);
/// Where the file of that name is, at the end of all links; where there is nothing, the name
/// itself. A link that leads to nothing, or that another user has made to what is not that user's,
/// is an error.
std::filesystem::path endOfLinks(const std::filesystem::path& file);
/// Moves a file or folder to a name that is free, in the same file system.
void moveToFreeName(const std::filesystem::path& from, const std::filesystem::path& to);
/// Replaces the file of that name, at the end of all links, by a new one that is stored to its end,
/// and gets the owner, mode and attributes of the old one; if there is none it gets this mode.
void moveInto(const std::filesystem::path& from, const std::filesystem::path& to, unsigned mode);
/// Waits until the file has been stored.
void syncFile(const std::filesystem::path& file);
/// Waits until the names in the folder have been stored, where the user and the file system can.
void syncFolder(const std::filesystem::path& folder) noexcept;
/// Waits until the file system has stored what was written to it.
void syncFileSystem(const std::filesystem::path& inside);

/// While it lives, no other process holds it for this folder. Waits for that as long as it takes.
class FolderLock {
 public:
  explicit FolderLock(const std::filesystem::path& folder);

 private:
  Descriptor folder_;
};

/// A text file that is to be replaced in one step, at the end of all links. It is read as it is
/// now.
class FileReplacement {
 public:
  /// Reads the file. Throws also when it cannot be replaced without a loss: it has several names
  /// (hard links), belongs to another user, is write-protected, or is not a regular file.
  explicit FileReplacement(const std::filesystem::path& file);

  [[nodiscard]] const std::string& text() const { return text_; }
  /// Replaces the text. Owner, mode and extended attributes stay. Throws when the file has changed
  /// meanwhile; on failure it is as it was.
  void replace(std::string_view text) const;

 private:
  struct State {
    std::uint64_t device, number;
    std::int64_t size, seconds, nanoseconds;
    bool operator==(const State&) const = default;
  };

  [[nodiscard]] State stateNow() const;

  std::filesystem::path file_;
  State state_;
  std::string text_;
};

#endif
