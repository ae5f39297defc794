#ifndef VELOX_KVF_PROCESS_FILEREADING_H
#define VELOX_KVF_PROCESS_FILEREADING_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "kvf/process/Descriptor.h"

/// Reading where an error must not pass for an empty file. All of it throws FileError, and
/// Interruption between two pieces of a long file.

/// Opens a regular file, and never waits for what is none.
Descriptor openToRead(const std::filesystem::path& file);
/// A regular file of at most 64 MiB.
std::string readWhole(const std::filesystem::path& file);
/// The same from an open file; the name is for messages.
std::string readWhole(const Descriptor& descriptor, const std::filesystem::path& file);
/// A regular file of any size, piece by piece.
void readInPieces(const std::filesystem::path& file,
                  const std::function<void(std::string_view)>& take);
/// The same from an open file; the name is for messages.
void readInPieces(const Descriptor& descriptor, const std::filesystem::path& file,
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

#endif
