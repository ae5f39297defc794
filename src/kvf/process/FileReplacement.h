#ifndef VELOX_KVF_PROCESS_FILEREPLACEMENT_H
#define VELOX_KVF_PROCESS_FILEREPLACEMENT_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

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
