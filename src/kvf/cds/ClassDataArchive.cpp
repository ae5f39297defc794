#include "kvf/cds/ClassDataArchive.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <set>
#include <system_error>

#include "kvf/jvm/JvmSearch.h"
#include "kvf/text/FileText.h"

namespace fs = std::filesystem;

namespace {

constexpr std::uint32_t staticMagic = 0xF00BABA2;
constexpr std::uint32_t dynamicMagic = 0xF00BABA8;
constexpr std::size_t headerBytes = 4096;
constexpr std::size_t maxIdentityBytes = 256;
constexpr std::size_t longestPath = 4096 + 5;
constexpr std::string_view identityMark = " VM (";
// Since this release all archives may have moved to another folder together.
constexpr unsigned firstWithMovableJars = 20;
constexpr std::string_view sharedArchiveOption = "-XX:SharedArchiveFile=";

bool isPrintable(char c) {
  return c >= ' ' && c <= '~';
}

/// The longest printable text around the position.
std::string_view textAround(std::string_view bytes, std::size_t at) {
  std::size_t start = at;
  while (start > 0 && isPrintable(bytes[start - 1])) --start;
  std::size_t end = at;
  while (end < bytes.size() && isPrintable(bytes[end])) ++end;
  return bytes.substr(start, end - start);
}

/// The archives of the class path that a class-data archive was written for.
class RecordedJars {
 public:
  RecordedJars(const fs::path& archive, bool movable) : movable_(movable) {
    constexpr std::string_view mark(".jar\0", 5);
    std::size_t known = 0;
    forEachPiece(archive, longestPath, [&](std::string_view bytes) {
      for (std::size_t at = 0; (at = bytes.find(mark, at)) != std::string_view::npos;
           at += mark.size()) {
        const std::size_t end = at + mark.size() - 1;
        const std::size_t start = bytes.find_last_of('\0', at) + 1;
        if (end >= known) names_.emplace(comparable(bytes.substr(start, end - start)));
      }
      known = longestPath;
      return true;
    });
  }

  [[nodiscard]] bool contains(std::string_view path) const {
    return names_.find(comparable(path)) != names_.end();
  }

 private:
  [[nodiscard]] std::string_view comparable(std::string_view path) const {
    return movable_ ? path.substr(path.rfind('/') + 1) : path;
  }

  bool movable_;
  std::set<std::string, std::less<>> names_;
};

/// "OpenJDK 64-Bit Server VM (17.0.15+6) for ..." -> 17
unsigned releaseOfIdentity(const std::string& identity) {
  const std::size_t mark = identity.find(identityMark);
  if (mark == std::string::npos) return 0;
  return releaseOfVersion(std::string_view(identity).substr(mark + identityMark.size()));
}

/// True when the text is nowhere in the file; false also when that cannot be told.
bool lacks(const fs::path& file, const std::string& text) {
  bool found = false;
  const bool isRead = forEachPiece(file, text.size(), [&](std::string_view bytes) {
    found = bytes.find(text) != std::string_view::npos;
    return !found;
  });
  return isRead && !found;
}

bool isNewer(const fs::path& file, const fs::path& than) {
  std::error_code error;
  const auto time = fs::last_write_time(file, error);
  const auto other = fs::last_write_time(than, error);
  return !error && time > other;
}

}  // namespace

std::optional<ClassDataArchive> parseClassDataArchive(std::string_view bytes) {
  std::uint32_t magic = 0;
  if (bytes.size() < sizeof(magic)) return std::nullopt;
  std::memcpy(&magic, bytes.data(), sizeof(magic));
  if (magic != staticMagic && magic != dynamicMagic) return std::nullopt;
  ClassDataArchive archive{.dynamic = magic == dynamicMagic, .jvmIdentity = {}};
  const std::string_view header = bytes.substr(0, headerBytes);
  const std::size_t mark = header.find(identityMark);
  if (mark != std::string_view::npos) archive.jvmIdentity = textAround(header, mark);
  return archive;
}

std::vector<std::string> classDataMisfits(const fs::path& archive, const fs::path& jvmLibrary,
                                          const std::vector<std::string>& classPath) {
  std::error_code error;
  if (!fs::is_regular_file(archive, error)) return {"there is no such file"};
  const auto header = parseClassDataArchive(textOfFile(archive, headerBytes));
  if (!header) return {"it is not a class-data archive"};

  std::vector<std::string> misfits;
  const std::string& identity = header->jvmIdentity;
  // A longer identity is cut and marked in a way of the JVM's own.
  if (!identity.empty() && identity.size() < maxIdentityBytes - 16) {
    if (lacks(jvmLibrary, identity)) misfits.push_back("another JVM wrote it: " + identity);
  }
  if (!header->dynamic) return misfits;
  const RecordedJars recorded(archive, releaseOfIdentity(identity) >= firstWithMovableJars);
  const auto isRecorded = [&](const std::string& jar) { return recorded.contains(jar); };
  // What was added at the end since then does no harm.
  const auto end = std::find_if(classPath.rbegin(), classPath.rend(), isRecorded).base();
  for (auto element = classPath.begin(); element != end; ++element) {
    if (!element->ends_with(".jar")) continue;
    if (!isRecorded(*element)) {
      misfits.push_back(*element + " was not on the class path when it was written");
    } else if (isNewer(*element, archive)) {
      misfits.push_back(*element + " has changed since it was written");
    }
  }
  if (end == classPath.begin()) misfits.emplace_back("it was written for another class path");
  return misfits;
}

std::vector<std::string> sharedArchiveFiles(const std::vector<std::string>& options) {
  const auto last = std::find_if(options.rbegin(), options.rend(), [](const std::string& option) {
    return option.starts_with(sharedArchiveOption);
  });
  std::vector<std::string> files;
  if (last == options.rend()) return files;
  std::string_view list = std::string_view(*last).substr(sharedArchiveOption.size());
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(':'), list.size());
    files.emplace_back(list.substr(0, end));
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return files;
}
