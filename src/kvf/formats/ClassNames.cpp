#include "kvf/formats/ClassNames.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>

#include "kvf/formats/Archive.h"

namespace fs = std::filesystem;

namespace {

constexpr std::string_view classSuffix = ".class";
constexpr std::size_t maxFiles = 50000;

}  // namespace

void forEachClass(const fs::path& place, bool isFolder,
                  const std::function<bool(std::string_view)>& visit) {
  const auto take = [&](std::string_view entry) {
    if (!entry.ends_with(classSuffix) || entry.find('$') != std::string_view::npos) return true;
    return visit(entry.substr(0, entry.size() - classSuffix.size()));
  };
  if (!isFolder) {
    const Archive archive(place);
    for (std::uint64_t i = 0; i < archive.size(); ++i)
      if (!take(archive.nameAt(i))) return;
    return;
  }
  std::error_code error;
  fs::recursive_directory_iterator entries(place, fs::directory_options::skip_permission_denied,
                                           error);
  const std::size_t prefix = (place / "x").native().size() - 1;
  std::size_t left = maxFiles;
  for (; !error && left > 0 && entries != fs::recursive_directory_iterator();
       entries.increment(error), --left) {
    const std::string path = entries->path().string();
    if (path.size() > prefix && !take(std::string_view(path).substr(prefix))) return;
  }
}
