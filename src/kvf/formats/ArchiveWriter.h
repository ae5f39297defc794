#ifndef VELOX_KVF_FORMATS_ARCHIVEWRITER_H
#define VELOX_KVF_FORMATS_ARCHIVEWRITER_H

#include <cstdint>
#include <string>
#include <string_view>

/// The text of a .jar or .zip file with its entries unpacked, which a JVM reads sooner.
class ArchiveWriter {
 public:
  /// An entry at the end. False, and nothing is added, when the file would get too large for its
  /// format: 4 GiB, or 65,535 entries.
  [[nodiscard]] bool add(std::string_view name, std::string_view content);
  /// All of it, with the directory of entries at its end.
  [[nodiscard]] std::string finish() &&;

 private:
  std::string text_, directory_;
  std::uint16_t entries_ = 0;
};

#endif
