#include "kvf/formats/BuildId.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <system_error>

#include <elf.h>

#include "kvf/process/FileError.h"
#include "kvf/process/FileReading.h"

namespace {

// Longer notes are not build IDs.
constexpr std::size_t maxNoteBytes = 4096;

template <class Record>
bool take(std::string_view bytes, Record& record) {
  if (bytes.size() < sizeof record) return false;
  std::memcpy(&record, bytes.data(), sizeof record);
  return true;
}

std::string hexadecimal(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    text += "0123456789abcdef"[static_cast<unsigned char>(byte) >> 4U];
    text += "0123456789abcdef"[static_cast<unsigned char>(byte) & 0xFU];
  }
  return text;
}

constexpr std::size_t aligned(std::size_t size) {
  return (size + 3) / 4 * 4;
}

std::string buildIdIn(std::string_view notes) {
  Elf64_Nhdr note;
  while (take(notes, note)) {
    const std::size_t name = sizeof note;
    const std::size_t text = name + aligned(note.n_namesz);
    const std::size_t end = text + aligned(note.n_descsz);
    if (note.n_namesz > maxNoteBytes || note.n_descsz > maxNoteBytes || end > notes.size())
      return {};
    if (note.n_type == NT_GNU_BUILD_ID && notes.substr(name, 4) == std::string_view("GNU\0", 4))
      return hexadecimal(notes.substr(text, note.n_descsz));
    notes.remove_prefix(end);
  }
  return {};
}

}  // namespace

std::string buildIdOf(const std::filesystem::path& path) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (status.type() == std::filesystem::file_type::none)
    throw FileError("read", path, error.value());
  // Opening a pipe would wait for its other end.
  if (!std::filesystem::is_regular_file(status)) return {};
  const RandomAccessFile file(path);
  Elf64_Ehdr header;
  if (!take(file.at(0, sizeof header), header) ||
      std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 || header.e_ident[EI_CLASS] != ELFCLASS64)
    return {};
  const std::string table =
      file.at(header.e_phoff, std::min<std::size_t>(header.e_phnum, 64) * sizeof(Elf64_Phdr));
  Elf64_Phdr segment;
  for (std::string_view rest = table; take(rest, segment); rest.remove_prefix(sizeof segment)) {
    if (segment.p_type != PT_NOTE || segment.p_filesz > maxNoteBytes) continue;
    std::string id = buildIdIn(file.at(segment.p_offset, segment.p_filesz));
    if (!id.empty()) return id;
  }
  return {};
}
