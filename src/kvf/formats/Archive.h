#ifndef VELOX_KVF_FORMATS_ARCHIVE_H
#define VELOX_KVF_FORMATS_ARCHIVE_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <zip.h>

enum class ArchiveState {
  readable,
  missing,       ///< nothing of this name
  notAFile,      ///< a directory, pipe, device ...
  unreadable,    ///< the system refuses to read it
  notAnArchive,  ///< has no directory of entries, or one that contradicts itself
  tooLarge,      ///< claims more entries than any sound class path holds; not read
};

/// One .jar or .zip file, known by its directory of entries: opening reads the end of the file
/// only, however large it is. Move-only owner of the open file. Takes hostile files: the directory
/// may have 16 MiB (some 150,000 entries), an entry
/// what its reader allows.
class Archive {
 public:
  /// Opens the file; anything but `readable` gives an archive without entries.
  explicit Archive(const std::filesystem::path& file);

  [[nodiscard]] ArchiveState state() const { return state_; }

  [[nodiscard]] std::uint64_t size() const;
  /// The name of the entry as it stands in the archive ("com/acme/Main.class"), valid as long as
  /// the archive. Empty past the end.
  [[nodiscard]] std::string_view nameAt(std::uint64_t index) const;
  [[nodiscard]] bool contains(const std::string& name) const;

  /// The unpacked entry; nothing when there is none of this name, it is longer than `maxBytes`,
  /// encrypted or damaged.
  [[nodiscard]] std::optional<std::string> read(const std::string& name,
                                                std::size_t maxBytes = defaultMaxBytes) const;

  static constexpr std::size_t defaultMaxBytes = std::size_t{16} << 20U;

 private:
  struct Discard {
    void operator()(zip_t* zip) const { zip_discard(zip); }
  };

  ArchiveState state_;
  std::unique_ptr<zip_t, Discard> zip_;
};

#endif
