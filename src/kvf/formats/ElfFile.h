#ifndef VELOX_KVF_FORMATS_ELFFILE_H
#define VELOX_KVF_FORMATS_ELFFILE_H

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the dynamic loader would see of a library or program, read without loading it.
struct ElfFile {
  enum class Kind { sharedLibrary, program, other };

  Kind kind = Kind::other;
  unsigned bits = 0;  ///< 32 or 64
  bool littleEndian = true;
  unsigned machine = 0;  ///< the ELF number of the architecture: 62 is x86-64, 183 AArch64
  /// Names that the file defines for others, unsorted. Not there when the table of names is
  /// missing, damaged or of another byte order or word size than this machine's.
  std::optional<std::vector<std::string>> exports;

  /// False also when `exports` is not there: ask it first where "unknown" matters.
  [[nodiscard]] bool exportsName(std::string_view name) const;
  /// True when a program of the other file's architecture can load this one.
  [[nodiscard]] bool sameArchitecture(const ElfFile& other) const;
};

/// Nothing when the file cannot be read or is no ELF file.
std::optional<ElfFile> readElfFile(const std::filesystem::path& file);

/// The same over bytes in memory. Takes any bytes: memory is bounded by their number.
std::optional<ElfFile> parseElfFile(std::string_view bytes);

/// The running program itself, to compare architectures with.
const ElfFile& ownElfFile();

/// "x86-64", "AArch64" ..., or "machine 1234" for a number without a name here.
std::string machineName(unsigned machine);

#endif
