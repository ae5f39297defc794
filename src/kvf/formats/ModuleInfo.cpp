#include "kvf/formats/ModuleInfo.h"

#include <cstddef>
#include <string_view>

#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace {
constexpr char entryName[] = "module-info.class";
}  // namespace

std::optional<std::string> moduleInfoIn(const Archive& archive) {
  for (const char* folder : {"", "classes/"})
    if (auto bytes = archive.read(concat({folder, entryName}))) return bytes;
  for (std::size_t i = 0; i < archive.size(); ++i) {
    const std::string_view name = archive.nameAt(i);
    if (name.starts_with("META-INF/versions/") && name.ends_with(concat({"/", entryName})))
      return archive.read(std::string(name));
  }
  return std::nullopt;
}

std::optional<std::string> moduleInfoIn(const std::filesystem::path& folder) {
  std::string bytes = textOfFile(folder / entryName);
  if (bytes.empty()) return std::nullopt;
  return bytes;
}
