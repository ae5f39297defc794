#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <unistd.h>

#include "foundation/PropertyKeys.h"
#include "foundation/TextPieces.h"
#include "javarun/ClassPath.h"
#include "kvf/formats/Archive.h"
#include "kvf/rules/ArchiveName.h"
#include "kvf/rules/Rule.h"
#include "kvf/rules/ShellSyntax.h"
#include "kvf/text/Text.h"
#include "platform/ArchiveListing.h"

namespace {

namespace fs = std::filesystem;

constexpr std::string_view recursiveMark = "/**";
constexpr std::size_t maxEntries = 100000;

/// Calls visit(element, path, at) for the elements that the file names; path is absolute.
template <class Visit>
void forEachElement(const Inspection& inspection, Visit&& visit) {
  if (inspection.plan.classPathKey == nullptr) return;
  const Position at = inspection.positionOf(inspection.plan.classPathKey);
  for (const ClassPathElement& element : inspection.plan.classPath) {
    visit(element, inspection.atApplication(element.place), at);
  }
}

/// "lib**" is recursive, too, and searches "li".
bool hasUnexpandedStar(const ClassPathElement& element) {
  const bool isMarked =
      element.recursive && element.expanded.front() == concat({element.place, recursiveMark});
  return element.written.find('*') != std::string::npos && !isMarked;
}

void classPathStar(const Inspection& inspection, Report& report) {
  forEachElement(inspection, [&](const ClassPathElement& element, const std::string& /*path*/,
                                 const Position& at) {
    if (!hasUnexpandedStar(element)) return;
    const bool extended = inspection.plan.classPathKey == std::string_view(keys::classPathExtended);
    report(at, concat({"neither the launcher nor a JVM in its process expands the * of ",
                       shown(element.written), ": write ",
                       extended ? "FOLDER for the archives in it, FOLDER/** for those below it too"
                                : "velox.class.path.extended=FOLDER"}));
  });
}

/// Why an element of that text does not exist, where its form shows it; else empty.
std::string mistakenForm(const Inspection& inspection, const std::string& written) {
  constexpr std::string_view schemes[] = {"file", "jar", "http", "https"};
  if (std::find(std::begin(schemes), std::end(schemes), written) != std::end(schemes))
    return concat({": elements are paths, not URLs; leave out ", written, ":"});
  const std::vector<std::string_view> parts = piecesOf(written, ", ");
  const bool isList =
      parts.size() > 1 && std::all_of(parts.begin(), parts.end(), [](auto part) {
        return isArchiveFileName(std::string(part)) || part.find('/') != std::string_view::npos;
      });
  if (!isList || ::access(inspection.atApplication(parts[0]).c_str(), F_OK) != 0) return {};
  return ": elements are separated by \":\", not by commas or blanks";
}

void classPathMissing(const Inspection& inspection, Report& report) {
  forEachElement(inspection, [&](const ClassPathElement& element, const std::string& path,
                                 const Position& at) {
    if (hasUnexpandedStar(element)) return;
    std::error_code error;
    if (::access(path.c_str(), F_OK) != 0) {
      if (shellExpansionIn(element.written)) return;
      const std::string form = mistakenForm(inspection, element.written);
      report(at, concat({"there is no ", shown(path), didYouMean(archiveLike(path)), ", so that ",
                         shown(element.written), " contributes nothing",
                         form.empty() ? ": correct the path" : form}));
    } else if (element.searched && fs::is_directory(path, error) &&
               ::access(path.c_str(), R_OK | X_OK) != 0) {
      report(at, concat({"the folder ", shown(path), " cannot be read, so that ",
                         shown(element.written),
                         " contributes no archives: let the launcher's user ", "read it"}));
    }
  });
}

/// What a folder holds, and what of it the launcher takes.
struct FolderContents {
  std::vector<std::string> links;  ///< to archives, and below a recursive element to folders
  std::size_t archives = 0;        ///< within the search level
  std::size_t deeper = 0;          ///< below it
};

FolderContents contentsOf(const std::string& folder, bool recursive, int level) {
  FolderContents contents;
  std::error_code error;
  fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied,
                                         error);
  for (std::size_t count = 0; !error && entry != fs::recursive_directory_iterator();
       entry.increment(error)) {
    if (++count > maxEntries) break;
    std::error_code failed;
    const fs::file_status status = entry->symlink_status(failed);
    std::string name = entry->path().filename().string();
    if (fs::is_directory(status) && !recursive) entry.disable_recursion_pending();
    if (fs::is_symlink(status)) {
      const bool leadsToFolder = recursive && fs::is_directory(entry->path(), failed);
      if (isArchiveFileName(name) || leadsToFolder)
        contents.links.push_back(entry->path().string());
    } else if (fs::is_regular_file(status) && isArchiveFileName(name)) {
      ++(entry.depth() < level ? contents.archives : contents.deeper);
    }
  }
  return contents;
}

/// The launcher's own when it is out of range, which is a finding of its own.
int limitOf(const Inspection& inspection, const ArchiveLimit& limit) {
  return limit.in(inspection.run().merged).value_or(limit.standard);
}

/// Calls visit(element, contents, at) for every folder that is searched and is there.
template <class Visit>
void forEachFolder(const Inspection& inspection, Visit&& visit) {
  const int level = limitOf(inspection, searchLevelLimit);
  forEachElement(inspection,
                 [&](const ClassPathElement& element, const std::string& path, const Position& at) {
                   if (!element.searched || hasUnexpandedStar(element)) return;
                   const bool recursive = element.recursive;
                   visit(element, contentsOf(path, recursive, recursive ? level : 1), at);
                 });
}

std::string canonicalOf(const std::string& path) {
  std::error_code error;
  const fs::path real = fs::canonical(path, error);
  return error ? path : real.string();
}

/// The elements of the class path, by their real names.
class ReachedFiles {
 public:
  explicit ReachedFiles(const Inspection& inspection) {
    if (!inspection.classPath) return;
    for (const ScannedElement& element : inspection.classPath->elements())
      files_.insert(canonicalOf(element.path));
  }

  /// True when the class path has what the link leads to anyway: the archive, or the archives of
  /// the folder.
  [[nodiscard]] bool have(const std::string& link) const {
    const std::string target = canonicalOf(link);
    std::error_code error;
    if (!fs::is_directory(target, error)) return files_.contains(target);
    const FolderContents contents = contentsOf(target, true, std::numeric_limits<int>::max());
    const auto below = files_.lower_bound(target + "/");
    const auto count = std::count_if(below, files_.end(), [&](const std::string& file) {
      return file.starts_with(target + "/") && isArchiveFileName(file);
    });
    return contents.links.empty() && static_cast<std::size_t>(count) == contents.archives;
  }

 private:
  std::set<std::string> files_;
};

void classPathLink(const Inspection& inspection, Report& report) {
  std::optional<ReachedFiles> reached;
  forEachFolder(inspection, [&](const ClassPathElement& element, const FolderContents& contents,
                                const Position& at) {
    std::vector<std::string> links = contents.links;
    if (!links.empty() && !reached) reached.emplace(inspection);
    std::erase_if(links, [&](const std::string& link) { return reached->have(link); });
    if (links.empty()) return;
    const std::string more = links.size() == 1
                                 ? std::string()
                                 : concat({" and ", std::to_string(links.size() - 1), " more"});
    report(at, concat({"the search of ", shown(element.written), " skips the link ",
                       shown(links.front()), more,
                       ": name it in the class path itself, or put the file there"}));
  });
}

void classPathTruncated(const Inspection& inspection, Report& report) {
  const auto most = static_cast<std::size_t>(limitOf(inspection, archiveCountLimit));
  forEachFolder(inspection, [&](const ClassPathElement& element, const FolderContents& contents,
                                const Position& at) {
    if (contents.archives > most) {
      report(at, concat({shown(element.written), " holds ", countOf(contents.archives, "archive"),
                         ", of which ", std::to_string(most),
                         " are taken, in the order of the file system: raise ",
                         keys::classPathMaxLibNumber}));
    }
    if (contents.deeper > 0) {
      report.harmless(
          at, concat({countOf(contents.deeper, "archive"), contents.deeper == 1 ? " lies" : " lie",
                      " deeper in ", shown(element.written), " than the search goes: raise ",
                      keys::classPathSearchLevel}));
    }
  });
}

void classPathLimitRange(const Inspection& inspection, Report& report) {
  for (const Failure& failure : inspection.failures(Failure::Stage::limits)) {
    report.fatal(failure.at,
                 concat({"the launch ends with ", shown(failure.message),
                         ": the search level is a number from 1 to 12, the number of ",
                         "archives one from 1 to 8192"}),
                 failure.message);
  }
}

const char* complaintAbout(ArchiveState state) {
  switch (state) {
    case ArchiveState::unreadable:
      return "cannot be read";
    case ArchiveState::notAnArchive:
      return "is not an archive, or is damaged";
    case ArchiveState::tooLarge:
      return "claims to hold more than any sound archive";
    case ArchiveState::notAFile:
      return "is not a file";
    case ArchiveState::readable:
    case ArchiveState::missing:
      return nullptr;
  }
  return nullptr;
}

void classPathArchive(const Inspection& inspection, Report& report) {
  if (!inspection.classPath || inspection.plan.classPathKey == nullptr) return;
  const Position at = inspection.positionOf(inspection.plan.classPathKey);
  for (const ScannedElement& element : inspection.classPath->elements()) {
    if (element.kind != ScannedElement::Kind::archive) continue;
    const char* complaint = complaintAbout(element.state);
    if (complaint == nullptr) continue;
    report(at, concat({shown(element.path), " ", complaint,
                       "; a JVM silently skips it: replace the file"}));
  }
}

/// True when the folder has archives, and no class.
bool hasArchivesAndNoClass(const std::string& folder) {
  bool hasArchive = false;
  std::error_code error;
  std::size_t count = 0;
  for (fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied,
                                              error);
       !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    std::string name = entry->path().filename().string();
    if (++count > maxEntries || name.ends_with(".class")) return false;
    hasArchive = hasArchive || (entry.depth() == 0 && isArchiveFileName(name));
  }
  return hasArchive;
}

void classPathFolder(const Inspection& inspection, Report& report) {
  forEachElement(inspection, [&](const ClassPathElement& element, const std::string& path,
                                 const Position& at) {
    std::error_code error;
    if (element.searched || !fs::is_directory(path, error) || !hasArchivesAndNoClass(path)) return;
    report(at, concat({"the folder ", shown(element.written), " brings no archives in ",
                       keys::classPath, ", only classes, and has none: write ",
                       keys::classPathExtended, "=", printable(element.written)}));
  });
}

/// True when a class is in both, as in two versions of one archive.
bool shareClass(const std::string& left, const std::string& right) {
  const Archive one(left);
  const Archive other(right);
  for (std::uint64_t i = 0; i < one.size(); ++i) {
    const std::string name(one.nameAt(i));
    const bool isClass = name.ends_with(".class") && !name.starts_with("META-INF/") &&
                         !name.ends_with("module-info.class") &&
                         !name.ends_with("package-info.class");
    if (isClass && other.contains(name)) return true;
  }
  return false;
}

void classPathVersions(const Inspection& inspection, Report& report) {
  if (!inspection.classPath || inspection.plan.classPathKey == nullptr) return;
  std::map<std::pair<std::string, std::string>, const ScannedElement*> firsts;
  for (const ScannedElement& element : inspection.classPath->elements()) {
    if (element.kind != ScannedElement::Kind::archive) continue;
    const ArchiveName name = archiveNameOf(element.path);
    if (name.version.empty()) continue;
    const auto [first, isNew] = firsts.try_emplace({name.stem, name.rest}, &element);
    const std::string& used = first->second->path;
    if (isNew || archiveNameOf(used).version == name.version) continue;
    if (!shareClass(used, element.path)) continue;
    report(inspection.positionOf(inspection.plan.classPathKey),
           concat({"two versions of ", printable(name.stem), name.rest, " are in the class path, ",
                   "and ", shown(used), " comes first: remove it, or ", shown(element.path)}));
  }
}

constexpr Rule rules[] = {
    {.id = "class-path-missing",
     .severity = Severity::warning,
     .summary = "a class path with a folder or archive that is missing",
     .explanation =
         "Neither the launcher nor a JVM reports an element that is missing or cannot be read.",
     .example = {.lines = "velox.class.path.extended=%kvf.file.dir%/lib:%kvf.file.dir%/lbi"},
     .remedy = {.lines = "velox.class.path.extended=%kvf.file.dir%/lib"},
     .check = classPathMissing},
    {.id = "class-path-folder",
     .severity = Severity::warning,
     .summary = "a folder of archives in java.class.path",
     .explanation = "There a folder stands only for the classes in it. In "
                    "velox.class.path.extended it stands for its archives too.",
     .example = {.lines =
                     "java.library=%JAVA_HOME%/lib/server/libjvm.so\njava.start.class=com.acme."
                     "Main\njava.class.path=%kvf.file.dir%/lib/acme.jar:%kvf.file.dir%/lib",
                 .whole = true},
     .remedy = {.lines = "velox.class.path.extended=%kvf.file.dir%/lib"},
     .check = classPathFolder},
    {.id = "class-path-versions",
     .severity = Severity::warning,
     .summary = "two versions of one archive",
     .explanation = "When a class is in both, a JVM takes it from the archive that comes first; "
                    "within a folder the order is that of the file system.",
     .example = {.note = "ext has acme-1.0.jar and acme-1.1.jar.",
                 .lines = "velox.class.path.extended=%kvf.file.dir%/ext",
                 .files = {{.path = "ext/acme-1.0.jar", .kind = ExampleFile::Kind::archive},
                           {.path = "ext/acme-1.1.jar", .kind = ExampleFile::Kind::archive}}},
     .remedy = {.note = "Remove one of them.",
                .lines = "velox.class.path.extended=%kvf.file.dir%/ext",
                .files = {{.path = "ext/acme-1.1.jar", .kind = ExampleFile::Kind::archive}}},
     .check = classPathVersions},
    {.id = "class-path-star",
     .severity = Severity::error,
     .summary = "a * that nothing expands",
     .explanation = "Only the program java expands FOLDER/*. To the launcher FOLDER stands for its "
                    "archives, and FOLDER/** for those of its subfolders too.",
     .example = {.lines =
                     "velox.class.path.extended=%kvf.file.dir%/lib/acme.jar:%kvf.file.dir%/lib/*"},
     .remedy = {.lines = "velox.class.path.extended=%kvf.file.dir%/lib"},
     .check = classPathStar},
    {.id = "class-path-link",
     .severity = Severity::warning,
     .summary = "links in a searched folder",
     .explanation = "The search for archives skips symbolic links, to files and to folders. One to "
                    "an archive that is in the class path anyway is not reported.",
     .example = {.note = "links/more.jar is a link.",
                 .lines = "velox.class.path.extended=%kvf.file.dir%/lib:%kvf.file.dir%/links",
                 .files = {{.path = "shared/more.jar", .kind = ExampleFile::Kind::archive},
                           {.path = "links/more.jar",
                            .content = "../shared/more.jar",
                            .kind = ExampleFile::Kind::link}}},
     .remedy = {.note = "Name the link itself; then it is followed.",
                .lines =
                    "velox.class.path.extended=%kvf.file.dir%/lib:%kvf.file.dir%/links/more.jar",
                .files = {{.path = "shared/more.jar", .kind = ExampleFile::Kind::archive},
                          {.path = "links/more.jar",
                           .content = "../shared/more.jar",
                           .kind = ExampleFile::Kind::link}}},
     .check = classPathLink},
    {.id = "class-path-truncated",
     .severity = Severity::error,
     .summary = "more archives than the limits allow",
     .explanation = "By default one element brings at most 4,096 archives, from at most 4 levels; "
                    "the rest is silently left out.",
     .example = {.note = "lib/1/2/3/4 holds an archive.",
                 .lines = "velox.class.path.extended=%kvf.file.dir%/lib/**",
                 .files = {{.path = "lib/1/2/3/4/more.jar", .kind = ExampleFile::Kind::archive}}},
     .remedy = {.lines = "velox.class.path.extended=%kvf.file.dir%/lib/"
                         "**\nvelox.class.path.extended.search.level=8",
                .files = {{.path = "lib/1/2/3/4/more.jar", .kind = ExampleFile::Kind::archive}}},
     .check = classPathTruncated},
    {.id = "class-path-limit-range",
     .severity = Severity::error,
     .summary = "class-path limits that are out of range",
     .explanation = "Any other value ends the launch.",
     .example = {.lines = "velox.class.path.extended.search.level=0"},
     .remedy = {.lines = "velox.class.path.extended.search.level=4"},
     .check = classPathLimitRange},
    {.id = "class-path-archive",
     .severity = Severity::warning,
     .summary = "an archive that cannot be read",
     .explanation = "A JVM skips such a file, so its classes are missing. The check reads only the "
                    "archive's directory.",
     .example = {.note = "lib/broken.jar was truncated.",
                 .files = {{.path = "lib/broken.jar", .content = "PK"}}},
     .remedy = {.note = "Replace the file.",
                .files = {{.path = "lib/broken.jar", .kind = ExampleFile::Kind::archive}}},
     .check = classPathArchive},
};

}  // namespace

std::span<const Rule> classPathRules() {
  return rules;
}
