#include "kvf/cds/ClassDataArchive.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
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
        if (end >= known) names_.emplace(bytes.substr(start, end - start));
      }
      known = longestPath;
      return true;
    });
  }

  [[nodiscard]] bool empty() const { return names_.empty(); }
  [[nodiscard]] bool contains(const std::string& path) const {
    return std::any_of(names_.begin(), names_.end(), [&](const std::string& name) {
      // A relative name may have been written in another folder.
      const bool byName = movable_ || !name.starts_with('/');
      std::error_code error;
      return byName ? fs::path(name).filename() == fs::path(path).filename()
                    : name == path || fs::equivalent(name, path, error);
    });
  }

 private:
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

std::string_view lastValueOf(const std::vector<std::string>& options, std::string_view prefix) {
  const auto last = std::find_if(options.rbegin(), options.rend(), [&](const std::string& option) {
    return option.starts_with(prefix);
  });
  return last == options.rend() ? std::string_view()
                                : std::string_view(*last).substr(prefix.size());
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
  // To a JVM what is not there is absent, then and now; what was added at the end since then does
  // no harm, and behind an empty class path that is all.
  if (recorded.empty()) return misfits;
  std::vector<std::string> jars;
  std::copy_if(classPath.begin(), classPath.end(), std::back_inserter(jars),
               [&](const std::string& path) { return fs::is_regular_file(path, error); });
  std::erase_if(jars, [](const std::string& path) { return !path.ends_with(".jar"); });
  const auto isRecorded = [&](const std::string& jar) { return recorded.contains(jar); };
  const auto end = std::find_if(jars.rbegin(), jars.rend(), isRecorded).base();
  for (auto jar = jars.begin(); jar != end; ++jar) {
    if (!isRecorded(*jar)) {
      misfits.push_back(*jar + " was not on the class path when it was written");
    } else if (isNewer(*jar, archive)) {
      misfits.push_back(*jar + " has changed since it was written");
    }
  }
  if (end == jars.begin()) misfits.emplace_back("it was written for another class path");
  return misfits;
}

std::vector<std::string> sharedArchiveFiles(const std::vector<std::string>& options) {
  std::vector<std::string> files;
  std::string_view list = lastValueOf(options, sharedArchiveOption);
  while (!list.empty()) {
    const std::size_t end = std::min(list.find(':'), list.size());
    files.emplace_back(list.substr(0, end));
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return files;
}

std::string aheadOfTimeCache(const std::vector<std::string>& options) {
  return std::string(lastValueOf(options, "-XX:AOTCache="));
}
