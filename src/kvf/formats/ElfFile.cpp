#include "kvf/formats/ElfFile.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <fstream>
#include <functional>

#include <elf.h>

namespace {

// No sound library has larger tables of names.
constexpr std::size_t maxTableBytes = std::size_t{64} << 20U;

/// Up to `size` bytes of the file from the offset on; fewer at its end.
using ReadAt = std::function<std::string(std::uint64_t offset, std::size_t size)>;

template <class Header>
std::optional<Header> headerFrom(std::string_view bytes) {
  if (bytes.size() < sizeof(Header)) return std::nullopt;
  Header header;
  std::memcpy(&header, bytes.data(), sizeof(Header));
  return header;
}

/// The table of `Record`s, cut at the end of the file; nothing when it claims too much.
template <class Record>
std::optional<std::vector<Record>> tableAt(const ReadAt& readAt, std::uint64_t offset,
                                           std::uint64_t bytes) {
  if (bytes > maxTableBytes) return std::nullopt;
  const std::string text = readAt(offset, bytes);
  std::vector<Record> records(text.size() / sizeof(Record));
  if (!records.empty()) std::memcpy(records.data(), text.data(), records.size() * sizeof(Record));
  return records;
}

std::optional<std::vector<std::string>> exportsOf(const ReadAt& readAt, const Elf64_Ehdr& header) {
  if (header.e_shentsize != sizeof(Elf64_Shdr)) return std::nullopt;
  const auto sections = tableAt<Elf64_Shdr>(readAt, header.e_shoff,
                                            std::uint64_t{header.e_shnum} * sizeof(Elf64_Shdr));
  if (!sections) return std::nullopt;
  const auto symbolSection =
      std::find_if(sections->begin(), sections->end(),
                   [](const Elf64_Shdr& section) { return section.sh_type == SHT_DYNSYM; });
  if (symbolSection == sections->end() || symbolSection->sh_link >= sections->size())
    return std::nullopt;

  const Elf64_Shdr& nameSection = (*sections)[symbolSection->sh_link];
  const auto symbols = tableAt<Elf64_Sym>(readAt, symbolSection->sh_offset, symbolSection->sh_size);
  if (!symbols || nameSection.sh_size > maxTableBytes) return std::nullopt;
  const std::string names = readAt(nameSection.sh_offset, nameSection.sh_size);

  std::vector<std::string> exports;
  std::size_t total = 0;
  for (const Elf64_Sym& symbol : *symbols) {
    const unsigned binding = symbol.st_info >> 4U;
    const bool global = binding == STB_GLOBAL || binding == STB_WEAK;
    if (!global || symbol.st_shndx == SHN_UNDEF || symbol.st_name >= names.size()) continue;
    // Symbols may share one long name, so the sum is bounded and not the parts.
    exports.emplace_back(names.c_str() + symbol.st_name);
    total += exports.back().size();
    if (total > maxTableBytes) return std::nullopt;
  }
  return exports;
}

bool isProgram(const ReadAt& readAt, const Elf64_Ehdr& header) {
  const auto segments = tableAt<Elf64_Phdr>(readAt, header.e_phoff,
                                            std::uint64_t{header.e_phnum} * sizeof(Elf64_Phdr));
  // A position-independent program has the type of a library, but names its loader. (libc.so.6 does
  // so too; nobody gives that to a launcher.)
  return segments && std::any_of(segments->begin(), segments->end(), [](const Elf64_Phdr& segment) {
           return segment.p_type == PT_INTERP;
         });
}

std::optional<ElfFile> parse(const ReadAt& readAt) {
  const std::string start = readAt(0, sizeof(Elf64_Ehdr));
  // Type and machine are at the same place in files of both word sizes.
  const auto common = headerFrom<Elf32_Ehdr>(start);
  if (!common || std::memcmp(common->e_ident, ELFMAG, SELFMAG) != 0) return std::nullopt;

  ElfFile elf;
  elf.bits = common->e_ident[EI_CLASS] == ELFCLASS64 ? 64 : 32;
  elf.littleEndian = common->e_ident[EI_DATA] == ELFDATA2LSB;
  const bool foreignOrder = elf.littleEndian != (std::endian::native == std::endian::little);
  const auto half = [&](Elf32_Half value) -> unsigned {
    return foreignOrder ? __builtin_bswap16(value) : value;
  };
  elf.machine = half(common->e_machine);
  const unsigned type = half(common->e_type);
  if (type == ET_EXEC) elf.kind = ElfFile::Kind::program;
  if (type == ET_DYN) elf.kind = ElfFile::Kind::sharedLibrary;

  const auto header = headerFrom<Elf64_Ehdr>(start);
  if (elf.bits != 64 || foreignOrder || !header) return elf;
  if (type == ET_DYN && isProgram(readAt, *header)) elf.kind = ElfFile::Kind::program;
  elf.exports = exportsOf(readAt, *header);
  return elf;
}

struct MachineName {
  unsigned machine;
  const char* name;
};

constexpr MachineName machineNames[] = {
    {EM_386, "i386"},         {EM_X86_64, "x86-64"}, {EM_ARM, "ARM"},      {EM_AARCH64, "AArch64"},
    {EM_PPC64, "PowerPC 64"}, {EM_S390, "S/390"},    {EM_RISCV, "RISC-V"}, {EM_MIPS, "MIPS"},
    {EM_SPARCV9, "SPARC V9"}, {258, "LoongArch"},
};

}  // namespace

bool ElfFile::exportsName(std::string_view name) const {
  return exports && std::find(exports->begin(), exports->end(), name) != exports->end();
}

bool ElfFile::sameArchitecture(const ElfFile& other) const {
  return bits == other.bits && littleEndian == other.littleEndian && machine == other.machine;
}

std::optional<ElfFile> readElfFile(const std::filesystem::path& file) {
  std::error_code error;
  // Opening a pipe would wait for its other end.
  if (!std::filesystem::is_regular_file(file, error)) return std::nullopt;
  const std::uint64_t fileSize = std::filesystem::file_size(file, error);
  std::ifstream stream(file, std::ios::binary);
  if (error || !stream) return std::nullopt;
  return parse([&](std::uint64_t offset, std::size_t size) {
    std::string bytes;
    if (offset >= fileSize) return bytes;
    bytes.resize(std::min<std::uint64_t>(size, fileSize - offset));
    stream.clear();
    stream.seekg(static_cast<std::streamoff>(offset));
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    bytes.resize(static_cast<std::size_t>(stream.gcount()));
    return bytes;
  });
}

std::optional<ElfFile> parseElfFile(std::string_view bytes) {
  return parse([bytes](std::uint64_t offset, std::size_t size) {
    return std::string(offset < bytes.size() ? bytes.substr(offset, size) : std::string_view());
  });
}

const ElfFile& ownElfFile() {
  static const ElfFile own = readElfFile("/proc/self/exe").value_or(ElfFile());
  return own;
}

std::string machineName(unsigned machine) {
  const auto* const found =
      std::find_if(std::begin(machineNames), std::end(machineNames),
                   [machine](const MachineName& entry) { return entry.machine == machine; });
  if (found != std::end(machineNames)) return found->name;
  return "machine " + std::to_string(machine);
}
