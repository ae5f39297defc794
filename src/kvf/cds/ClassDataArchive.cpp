#include "kvf/cds/ClassDataArchive.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <set>
#include <system_error>

#include "kvf/cds/ArchiveKind.h"
#include "kvf/jvm/JvmSearch.h"
#include "kvf/process/FileStamp.h"
#include "kvf/text/FileText.h"

namespace fs = std::filesystem;

namespace {

constexpr std::uint32_t staticMagic = 0xF00BABA2;
constexpr std::uint32_t dynamicMagic = 0xF00BABA8;
constexpr std::size_t headerBytes = 4096;
constexpr std::size_t maxIdentityBytes = 256;
// With what comes after it; pieces begin where numbers do.
constexpr std::size_t longestPath = 4096 + 8;
constexpr std::string_view identityMark = " VM (";
// Newer releases may have the numbers elsewhere.
constexpr unsigned lastKnownRelease = 26;
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

bool isNewer(const fs::path& file, const fs::path& than) {
  std::error_code error;
  const auto time = fs::last_write_time(file, error);
  const auto other = fs::last_write_time(than, error);
  return !error && time > other;
}

/// What a JVM compares of a file of the class path.
struct Stamp {
  std::int64_t seconds = 0, bytes = 0;
  bool operator==(const Stamp&) const = default;
};

std::optional<Stamp> numbersOf(const std::string& file) {
  const FileStamp stamp = stampOf(file);
  return stamp.isThere ? std::optional(Stamp{stamp.seconds, stamp.bytes}) : std::nullopt;
}

/// The archives of the class path that a class-data archive was written for. It is read once.
class RecordedJars {
 public:
  RecordedJars(const fs::path& archive, unsigned release, const std::vector<std::string>& jars)
      : release_(release) {
    std::vector<Stamp> wanted;
    for (const std::string& jar : jars) {
      if (const auto stamp = numbersOf(jar)) wanted.push_back(*stamp);
    }
    forEachPiece(archive, longestPath, [&](std::string_view bytes) {
      takeNames(bytes);
      takeStamps(bytes, wanted);
      repeatedBytes_ = longestPath;
      return true;
    });
  }

  [[nodiscard]] bool empty() const { return names_.empty(); }
  [[nodiscard]] bool contains(const std::string& path) const {
    return std::any_of(names_.begin(), names_.end(), [&](const std::string& name) {
      // A relative name may have been written in another folder.
      const bool byName = release_ >= firstWithMovableJars || !name.starts_with('/');
      std::error_code error;
      return byName ? fs::path(name).filename() == fs::path(path).filename()
                    : name == path || fs::equivalent(name, path, error);
    });
  }
  /// False when the JVM would see that the file has changed.
  [[nodiscard]] bool holds(const std::string& jar, const fs::path& archive) const {
    if (release_ > lastKnownRelease) return !isNewer(jar, archive);
    const auto stamp = numbersOf(jar);
    return !stamp || std::find(stamps_.begin(), stamps_.end(), *stamp) != stamps_.end();
  }

 private:
  void takeNames(std::string_view bytes) {
    constexpr std::string_view mark(".jar\0", 5);
    for (std::size_t at = 0; (at = bytes.find(mark, at)) != std::string_view::npos;
         at += mark.size()) {
      const std::size_t end = at + mark.size() - 1;
      const std::size_t start = bytes.find_last_of('\0', at) + 1;
      if (end >= repeatedBytes_) names_.emplace(bytes.substr(start, end - start));
    }
  }

  /// The time and size of a file are side by side.
  void takeStamps(std::string_view bytes, const std::vector<Stamp>& wanted) {
    if (wanted.empty()) return;
    const auto [first, last] =
        std::minmax_element(wanted.begin(), wanted.end(),
                            [](const Stamp& a, const Stamp& b) { return a.seconds < b.seconds; });
    for (std::size_t at = 0; at + sizeof(Stamp) <= bytes.size(); at += sizeof(std::int64_t)) {
      Stamp stamp;
      std::memcpy(&stamp, bytes.data() + at, sizeof stamp);
      if (stamp.seconds < first->seconds || stamp.seconds > last->seconds) continue;
      if (std::find(wanted.begin(), wanted.end(), stamp) != wanted.end()) stamps_.push_back(stamp);
    }
  }

  unsigned release_;
  std::size_t repeatedBytes_ = 0;  ///< of the piece before, at the beginning of this one
  std::set<std::string, std::less<>> names_;
  std::vector<Stamp> stamps_;
};

/// "OpenJDK 64-Bit Server VM (17.0.15+6) for ..." -> 17
unsigned releaseOfIdentity(const std::string& identity) {
  const std::size_t mark = identity.find(identityMark);
  if (mark == std::string::npos) return 0;
  return releaseOfVersion(std::string_view(identity).substr(mark + identityMark.size()));
}

/// True when the text is nowhere in the file; false also when that is unknown.
bool lacks(const fs::path& file, const std::string& text) {
  bool found = false;
  const bool isRead = forEachPiece(file, text.size(), [&](std::string_view bytes) {
    found = bytes.find(text) != std::string_view::npos;
    return !found;
  });
  return isRead && !found;
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
  // The JVM cuts and marks a longer identity in a way of its own.
  if (!identity.empty() && identity.size() < maxIdentityBytes - 16) {
    if (lacks(jvmLibrary, identity)) misfits.push_back("another JVM wrote it: " + identity);
  }
  std::vector<std::string> jars;
  std::copy_if(classPath.begin(), classPath.end(), std::back_inserter(jars),
               [&](const std::string& path) { return fs::is_regular_file(path, error); });
  std::erase_if(jars, [](const std::string& path) { return !path.ends_with(".jar"); });
  const RecordedJars recorded(archive, releaseOfIdentity(identity), jars);
  // To a JVM a missing file is absent, then and now; elements added at the end since then do no
  // harm, and after an empty class path that is all of them.
  if (recorded.empty()) return misfits;
  const auto isRecorded = [&](const std::string& jar) { return recorded.contains(jar); };
  const auto end = std::find_if(jars.rbegin(), jars.rend(), isRecorded).base();
  for (auto jar = jars.begin(); jar != end; ++jar) {
    if (!isRecorded(*jar)) {
      misfits.push_back(*jar + " was not on the class path when it was written");
    } else if (!recorded.holds(*jar, archive)) {
      misfits.push_back(*jar + " has changed since it was written");
    }
  }
  // A static archive may be one of the JVM's own classes, in which names of archives are other
  // texts.
  if (header->dynamic && end == jars.begin())
    misfits.emplace_back("it was written for another class path");
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
