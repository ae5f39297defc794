#include <algorithm>
#include <filesystem>
#include <system_error>

#include <unistd.h>

#include "foundation/PropertyKeys.h"
#include "foundation/TextPieces.h"
#include "javarun/ClassPath.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"
#include "platform/ArchiveListing.h"

namespace {

namespace fs = std::filesystem;

constexpr std::string_view recursiveMark = "/**";
constexpr std::size_t maxEntries = 100000;

bool isRecursive(const ClassPathElement& element) {
  return element.searched && element.written.ends_with(recursiveMark);
}

/// The folder that is searched, or the file.
std::string pathOf(const ClassPathElement& element) {
  std::string_view path = element.written;
  if (isRecursive(element)) path.remove_suffix(recursiveMark.size());
  if (element.searched) path = withoutTrailingSlash(path);
  return std::string(path);
}

/// Calls visit(element, path, at) for the elements that the file names; path is absolute.
template <class Visit>
void forEachElement(const Inspection& inspection, Visit&& visit) {
  if (inspection.plan.classPathKey == nullptr) return;
  const Position at = inspection.positionOf(inspection.plan.classPathKey);
  for (const ClassPathElement& element : inspection.plan.classPath) {
    visit(element, inspection.atApplication(pathOf(element)), at);
  }
}

bool hasUnexpandedStar(const ClassPathElement& element) {
  return element.written.find('*') != std::string::npos && !isRecursive(element);
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

void classPathMissing(const Inspection& inspection, Report& report) {
  forEachElement(inspection, [&](const ClassPathElement& element, const std::string& path,
                                 const Position& at) {
    if (hasUnexpandedStar(element)) return;
    std::error_code error;
    if (::access(path.c_str(), F_OK) != 0) {
      report(at, concat({"there is no ", shown(path), ", so that ", shown(element.written),
                         " contributes nothing: correct the path"}));
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
    const std::string name = entry->path().filename().string();
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
                   const bool recursive = isRecursive(element);
                   visit(element, contentsOf(path, recursive, recursive ? level : 1), at);
                 });
}

void classPathLink(const Inspection& inspection, Report& report) {
  forEachFolder(inspection, [&](const ClassPathElement& element, const FolderContents& contents,
                                const Position& at) {
    if (contents.links.empty()) return;
    const std::string more =
        contents.links.size() == 1
            ? std::string()
            : concat({" and ", std::to_string(contents.links.size() - 1), " more"});
    report(at, concat({"the search of ", shown(element.written), " skips the link ",
                       shown(contents.links.front()), more,
                       ": name it in the class path by itself, or put the file there"}));
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
      report(at,
             concat({countOf(contents.deeper, "archive"), contents.deeper == 1 ? " lies" : " lie",
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

constexpr Rule rules[] = {
    {.id = "class-path-missing",
     .severity = Severity::warning,
     .summary = "a class path with a folder or archive that is missing",
     .explanation = "Nothing reports it: neither the launcher nor a JVM complains about an element "
                    "that is not there or cannot be read.",
     .example = {.lines = "velox.class.path.extended=%kvf.file.dir%/lib:%kvf.file.dir%/lbi"},
     .remedy = {.lines = "velox.class.path.extended=%kvf.file.dir%/lib"},
     .check = classPathMissing},
    {.id = "class-path-star",
     .severity = Severity::error,
     .summary = "a * that nothing expands",
     .explanation = "Only the program java expands FOLDER/*. The launcher takes a folder as it is "
                    "for its archives, and FOLDER/** for those below it too.",
     .example = {.lines =
                     "velox.class.path.extended=%kvf.file.dir%/lib/acme.jar:%kvf.file.dir%/lib/*"},
     .remedy = {.lines = "velox.class.path.extended=%kvf.file.dir%/lib"},
     .check = classPathStar},
    {.id = "class-path-link",
     .severity = Severity::warning,
     .summary = "links in a searched folder",
     .explanation = "The search for archives skips symbolic links, to files and to folders.",
     .example = {.note = "links/more.jar is a link.",
                 .lines = "velox.class.path.extended=%kvf.file.dir%/lib:%kvf.file.dir%/links",
                 .files = {{.path = "links/more.jar",
                            .content = "../lib/acme.jar",
                            .kind = ExampleFile::Kind::link}}},
     .remedy = {.note = "Name the link itself: there it is followed.",
                .lines =
                    "velox.class.path.extended=%kvf.file.dir%/lib:%kvf.file.dir%/links/more.jar",
                .files = {{.path = "links/more.jar",
                           .content = "../lib/acme.jar",
                           .kind = ExampleFile::Kind::link}}},
     .check = classPathLink},
    {.id = "class-path-truncated",
     .severity = Severity::warning,
     .summary = "more archives than the limits allow",
     .explanation = "One element brings at most 4,096 archives, from at most 4 levels; the rest is "
                    "silently left out.",
     .example = {.note = "lib/1/2/3/4 holds an archive.",
                 .lines = "velox.class.path.extended=%kvf.file.dir%/lib/**",
                 .files = {{.path = "lib/1/2/3/4/more.jar", .kind = ExampleFile::Kind::archive}}},
     .remedy = {.lines = "velox.class.path.extended=%kvf.file.dir%/lib/"
                         "**\nvelox.class.path.extended.search.level=8",
                .files = {{.path = "lib/1/2/3/4/more.jar", .kind = ExampleFile::Kind::archive}}},
     .check = classPathTruncated},
    {.id = "class-path-limit-range",
     .severity = Severity::error,
     .summary = "limits of the class path that are out of range",
     .explanation = "Any other value ends the launch.",
     .example = {.lines = "velox.class.path.extended.search.level=0"},
     .remedy = {.lines = "velox.class.path.extended.search.level=4"},
     .check = classPathLimitRange},
    {.id = "class-path-archive",
     .severity = Severity::error,
     .summary = "an archive that cannot be read",
     .explanation = "A JVM skips such a file, and its classes are then missing. Only the "
                    "directory of an archive is looked at.",
     .example = {.note = "lib/broken.jar was cut off.",
                 .files = {{.path = "lib/broken.jar", .content = "PK"}}},
     .remedy = {.note = "Replace the file.",
                .files = {{.path = "lib/broken.jar", .kind = ExampleFile::Kind::archive}}},
     .check = classPathArchive},
};

}  // namespace

std::span<const Rule> classPathRules() {
  return rules;
}
