#include "kvf/cds/ArchiveKind.h"

#include <algorithm>
#include <iterator>

namespace {

using Options = std::vector<std::string_view>;

// Since then a static archive can hold linked classes, too.
constexpr unsigned firstWithLinking = 24;

constexpr ArchiveKind kinds[] = {
    {.name = "aot",
     .title = "AOT cache",
     .extension = ".aot",
     .useOption = "-XX:AOTCache=",
     .quietOption = "-Xlog:aot*=off,cds*=off",
     .logTags = "aot*=info,cds*=info,class+path=info",
     .cancelOption = {},
     .firstRelease = firstWithLinking,
     .recording = []() -> Options {
       return {"-XX:AOTMode=record", "-XX:AOTConfiguration=%R"};
     },
     .making = [](unsigned) -> Options {
       return {"-XX:AOTMode=create", "-XX:AOTConfiguration=%R", "-XX:AOTCache=%A"};
     },
     .isLinked = [](unsigned) { return true; },
     .usesRecordAgain = false,
     .isLastResort = false,
     .whenRefused = "without any archive, even the JVM's own, and so more slowly than before"},
    {.name = "static",
     .title = "static archive",
     .extension = ".jsa",
     .useOption = "-XX:SharedArchiveFile=",
     .quietOption = "-Xlog:cds*=off",
     .logTags = "cds*=info,class+path=info",
     .cancelOption = "-XX:SharedArchiveFile=",
     .firstRelease = 11,
     // With the JVM's own archive in use, the list would lack the classes that are in it.
     .recording = []() -> Options {
       return {"-Xshare:off", "-XX:DumpLoadedClassList=%R"};
     },
     .making = [](unsigned release) -> Options {
       Options options = {"-Xshare:dump", "-XX:SharedClassListFile=%R", "-XX:SharedArchiveFile=%A"};
       if (release >= firstWithLinking) options.emplace_back("-XX:+AOTClassLinking");
       return options;
     },
     .isLinked = [](unsigned release) { return release >= firstWithLinking; },
     .usesRecordAgain = true,
     .isLastResort = false,
     .whenRefused = "without any archive, even the JVM's own, and so more slowly than before"},
    {.name = "dynamic",
     .title = "dynamic archive",
     .extension = ".jsa",
     .useOption = "-XX:SharedArchiveFile=",
     .quietOption = "-Xlog:cds*=off",
     .logTags = "cds*=info,class+path=info",
     .cancelOption = "-XX:SharedArchiveFile=",
     .firstRelease = 13,
     .recording = []() -> Options { return {"-XX:ArchiveClassesAtExit=%A"}; },
     .making = [](unsigned) -> Options { return {}; },
     .isLinked = [](unsigned) { return false; },
     .usesRecordAgain = false,
     .isLastResort = true,
     .whenRefused = "as before if it is refused, with the JVM's own archive, and more slowly than "
                    "before if it is missing"},
};

constexpr std::string_view archiveOptions[] = {"-XX:SharedArchiveFile=",
                                               "-XX:ArchiveClassesAtExit=",
                                               "-XX:SharedClassListFile=",
                                               "-XX:DumpLoadedClassList=",
                                               "-XX:AOTCache=",
                                               "-XX:AOTCacheOutput=",
                                               "-XX:AOTConfiguration=",
                                               "-XX:AOTMode=",
                                               "-XX:+AutoCreateSharedArchive",
                                               "-Xshare:auto"};

std::vector<std::string> withPaths(const Options& options, const ArchiveFiles& files) {
  std::vector<std::string> result;
  for (const std::string_view option : options) {
    const std::size_t mark = option.find('%');
    std::string& text = result.emplace_back(option.substr(0, mark));
    if (mark != std::string_view::npos)
      text += option[mark + 1] == 'R' ? files.record.native() : files.archive.native();
  }
  return result;
}

}  // namespace

std::span<const ArchiveKind> archiveKinds() {
  return kinds;
}

const ArchiveKind* findArchiveKind(std::string_view name) {
  const auto* const found =
      std::find_if(std::begin(kinds), std::end(kinds),
                   [&](const ArchiveKind& kind) { return kind.name == name; });
  return found == std::end(kinds) ? nullptr : found;
}

std::vector<std::string> recordingOptions(const ArchiveKind& kind, const ArchiveFiles& files) {
  return withPaths(kind.recording(), files);
}

std::vector<std::string> makingOptions(const ArchiveKind& kind, unsigned release,
                                       const ArchiveFiles& files) {
  return withPaths(kind.making(release), files);
}

bool isArchiveOption(std::string_view option) {
  return std::any_of(std::begin(archiveOptions), std::end(archiveOptions),
                     [&](std::string_view start) { return option.starts_with(start); });
}
