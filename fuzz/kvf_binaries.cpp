// Bytes that claim to be a class file, an ELF file or an archive: whatever is read of them lies
// within them.

#include <sys/mman.h>
#include <unistd.h>

#include "Fuzzing.h"
#include "kvf/formats/Archive.h"
#include "kvf/formats/ClassFile.h"
#include "kvf/formats/ElfFile.h"

namespace {

void requireInside(std::string_view bytes, std::string_view part) {
  const bool inside = part.empty() || (part.data() >= bytes.data() &&
                                       part.data() + part.size() <= bytes.data() + bytes.size());
  requireSame("text inside the bytes", true, inside);
}

void readClass(std::string_view bytes) {
  const auto parsed = parseClassFile(bytes);
  if (!parsed) return;
  requireInside(bytes, parsed->name);
  requireInside(bytes, parsed->superName);
  for (const ClassMethod& method : parsed->staticMethods) {
    requireInside(bytes, method.name);
    requireInside(bytes, method.descriptor);
  }
}

void readLibrary(std::string_view bytes) {
  const auto parsed = parseElfFile(bytes);
  if (!parsed || !parsed->exports) return;
  for (const std::string& name : *parsed->exports) {
    requireSame("name in the bytes", true, bytes.find(name) != std::string_view::npos);
    requireSame("exported", true, parsed->exportsName(name));
  }
}

void readArchive(std::string_view bytes) {
  constexpr std::size_t maxBytes = 10000;
  static const int file = ::memfd_create("a.jar", MFD_CLOEXEC);
  if (::ftruncate(file, 0) != 0) std::abort();
  if (::pwrite(file, bytes.data(), bytes.size(), 0) < 0) std::abort();
  const Archive archive("/proc/self/fd/" + std::to_string(file));
  for (std::uint64_t i = 0; i < archive.size(); ++i) {
    const std::string name(archive.nameAt(i));
    const auto entry = archive.read(name, maxBytes);
    requireSame("length in bounds", true, !entry || entry->size() <= maxBytes);
  }
}

}  // namespace

void fuzz(std::string_view input) {
  readClass(input);
  readLibrary(input);
  readArchive(input);
}
