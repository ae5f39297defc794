#ifndef VELOX_KVF_FORMATS_ARCHIVE_H
#define VELOX_KVF_FORMATS_ARCHIVE_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/Stream.h"

enum class ArchiveState {
  readable,
  missing,       ///< nothing of this name
  notAFile,      ///< a directory, pipe, device ...
  unreadable,    ///< the system refuses to read it
  notAnArchive,  ///< has no directory of entries, or one that contradicts itself
  tooLarge,      ///< claims more entries than any sound class path holds; not read
};

/// One .jar or .zip file, known by its directory of entries: opening reads the end of the file
/// only, however large it is. It is read as the JVM does: the size of the directory counts, not the
/// number of entries claimed, and of entries with one name the last. Move-only owner of the open
/// file. Takes hostile files: the directory may have 16 MiB (some 150,000 entries), an entry what
/// its reader allows.
class Archive {
 public:
  /// Opens the file; anything but `readable` gives an archive without entries.
  explicit Archive(const std::filesystem::path& file);

  [[nodiscard]] ArchiveState state() const { return state_; }

  [[nodiscard]] std::size_t size() const { return entries_.size(); }
  /// The name of the entry as it is in the archive ("com/acme/Main.class"), valid as long as the
  /// archive. Empty past the end.
  [[nodiscard]] std::string_view nameAt(std::size_t index) const;
  [[nodiscard]] bool contains(const std::string& name) const { return byName_.contains(name); }

  /// The unpacked entry; nothing when there is no such entry, it is longer than `maxBytes`,
  /// encrypted or damaged.
  [[nodiscard]] std::optional<std::string> read(const std::string& name,
                                                std::size_t maxBytes = defaultMaxBytes) const;

  static constexpr std::size_t defaultMaxBytes = std::size_t{16} << 20U;

 private:
  struct Entry {
    std::string_view name;
    bool encrypted = false;
    unsigned method = 0;
    std::uint32_t checksum = 0;
    std::uint64_t packedBytes = 0;
    std::uint64_t bytes = 0;
    std::uint64_t offset = 0;  ///< of its header, from the start of the archive
  };

  ArchiveState open(const std::filesystem::path& file);
  /// False when the directory contradicts itself.
  bool parseDirectory();
  /// Where the packed bytes of the entry begin in the file.
  [[nodiscard]] std::optional<std::uint64_t> contentsOf(const Entry& entry) const;

  ArchiveState state_ = ArchiveState::missing;
  Stream file_;
  std::uint64_t start_ = 0;      ///< of the archive: past 0 for one with a program in front of it
  std::vector<char> directory_;  ///< holds the names
  std::vector<Entry> entries_;
  std::unordered_map<std::string_view, std::size_t> byName_;
};

#endif
