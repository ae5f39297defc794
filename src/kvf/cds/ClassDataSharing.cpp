#include "kvf/cds/ClassDataSharing.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <span>
#include <sstream>
#include <system_error>

#include "foundation/PropertyKeys.h"
#include "kvf/cds/ClassDataArchive.h"
#include "kvf/process/ProgramRun.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

// Older ones know only whole archives, made from a list of classes.
constexpr unsigned firstWithArchivesAtExit = 13;
constexpr std::string_view classPathOption = "-Djava.class.path=";
// A value may refer to 100 variables.
constexpr std::ptrdiff_t maxReferences = 90;

/// Options that concern archives themselves; they are this program's to set.
constexpr std::string_view archiveOptions[] = {
    "-XX:SharedArchiveFile=", "-XX:ArchiveClassesAtExit=", "-XX:SharedClassListFile="};

/// Options with which no JVM uses an archive.
constexpr std::string_view forbiddenOptions[] = {"-Xshare:off",          "-Xshare:dump",
                                                 "-XX:-UseSharedSpaces", "--patch-module",
                                                 "--limit-modules",      "--upgrade-module-path"};

struct KnownComplaint {
  std::string_view inLog;
  std::string_view meaning;
};
constexpr KnownComplaint knownComplaints[] = {
    {"non-empty directory",
     "a folder in the class path is not empty; name the archives in it instead"},
    {"base CDS archive is not loaded",
     "the JVM has no archive of its own; the command `java -Xshare:dump` of that JVM writes it"},
    {"was created by a different version or build", "another JVM wrote it"},
    {"shared archive file version", "another JVM wrote it"},
    {"classpath mismatch", "it was written for another class path"},
    {"class paths mismatch", "it was written for another class path"},
    {"A jar file is not the one used", "an archive of the class path has changed"},
    {"has been modified", "an archive of the class path has changed"},
};

bool startsWithAny(const std::string& text, std::span<const std::string_view> starts) {
  return std::any_of(starts.begin(), starts.end(),
                     [&](std::string_view start) { return text.starts_with(start); });
}

std::vector<std::string> classPathIn(const std::vector<std::string>& options,
                                     const std::string& directory) {
  const auto last = std::find_if(options.rbegin(), options.rend(), [](const std::string& option) {
    return option.starts_with(classPathOption);
  });
  std::vector<std::string> elements;
  if (last == options.rend()) return elements;
  std::istringstream list(last->substr(classPathOption.size()));
  for (std::string element; std::getline(list, element, ':');)
    elements.push_back((fs::path(directory) / element).string());
  return elements;
}

bool isFolderWithFiles(const fs::path& path) {
  std::error_code error;
  return fs::is_directory(path, error) && !fs::is_empty(path, error);
}

bool isArchiveFile(const fs::path& path) {
  std::error_code error;
  return fs::is_regular_file(path, error);
}

/// True when a class path does not need the folder beside the archives in it.
bool holdsArchivesOnly(const fs::path& folder) {
  std::error_code error;
  return std::all_of(fs::directory_iterator(folder, error), fs::directory_iterator(),
                     [](const fs::directory_entry& entry) {
                       const fs::path extension = entry.path().extension();
                       return extension == ".jar" || extension == ".zip";
                     });
}

/// "clojure.main source: shared objects file (top)" among the lines of the loading log.
bool isFromArchive(const std::string& className, const std::string& log) {
  return log.find("] " + className + " source: shared objects file (top)") != std::string::npos;
}

}  // namespace

ClassDataSubject classDataSubject(const Inspection& inspection) {
  if (!inspection.run().failures.empty())
    return {std::nullopt, inspection.run().failures[0].message};
  if (!inspection.isJava()) return {std::nullopt, "it has no java.library, so it starts no JVM"};
  ClassDataLaunch launch;
  launch.startClass = inspection.valueOf(keys::startClass);
  std::replace(launch.startClass.begin(), launch.startClass.end(), '/', '.');
  if (launch.startClass.empty()) return {std::nullopt, "it has no java.start.class"};
  const std::string library = inspection.atApplication(inspection.valueOf(keys::javaLibrary));
  std::optional<Jvm> jvm = jvmOfLibrary(library);
  if (!jvm) return {std::nullopt, shown(library) + " is not the library of a JVM"};
  launch.jvm = std::move(*jvm);
  launch.directory = inspection.plan.directory;
  launch.exported = inspection.plan.exported;
  std::remove_copy_if(inspection.plan.options.begin(), inspection.plan.options.end(),
                      std::back_inserter(launch.options), [](const std::string& option) {
                        return startsWithAny(option, archiveOptions);
                      });
  launch.classPath = classPathIn(launch.options, launch.directory);
  return {std::move(launch), {}};
}

std::vector<std::string> classDataObstacles(const ClassDataLaunch& launch) {
  std::vector<std::string> obstacles;
  for (const std::string& option : launch.options) {
    if (startsWithAny(option, forbiddenOptions))
      obstacles.push_back("the JVM uses no archive with the option " + shown(option));
  }
  // Folders after the last archive are not looked at.
  const auto end =
      std::find_if(launch.classPath.rbegin(), launch.classPath.rend(), isArchiveFile).base();
  for (auto element = launch.classPath.begin(); element != end; ++element) {
    if (isFolderWithFiles(*element)) {
      obstacles.push_back(concat({"the folder ", shown(*element),
                                  " is on the class path and not empty, and archives follow it"}));
    }
  }
  return obstacles;
}

std::vector<std::string> classDataWritingObstacles(const ClassDataLaunch& launch) {
  std::vector<std::string> obstacles;
  if (launch.jvm.release != 0 && launch.jvm.release < firstWithArchivesAtExit) {
    obstacles.push_back(
        concat({"Java ", launch.jvm.version,
                " writes no archive when an application ends; Java 13 and newer do"}));
  }
  const std::vector<std::string> further = classDataObstacles(launch);
  obstacles.insert(obstacles.end(), further.begin(), further.end());
  return obstacles;
}

std::string classPathOfArchives(const std::vector<std::string>& classPath, const fs::path& folder) {
  std::vector<std::string> archives;
  std::vector<std::string> folders;
  for (const std::string& element : classPath) {
    if (!isFolderWithFiles(element)) {
      archives.push_back(element);
    } else if (!holdsArchivesOnly(element)) {
      folders.push_back(element);
    }
  }
  archives.insert(archives.end(), folders.begin(), folders.end());
  const std::string start = folder.string() + "/";
  const auto below = std::count_if(archives.begin(), archives.end(), [&](const std::string& path) {
    return path.starts_with(start);
  });
  std::string value;
  for (const std::string& path : archives) {
    if (!value.empty()) value += ':';
    const bool relative = below <= maxReferences && path.starts_with(start);
    value += relative ? "%kvf.file.dir%/" + spelledInPropertiesFile(path.substr(start.size()))
                      : spelledInPropertiesFile(path);
  }
  return value;
}

std::optional<std::string> archiveWritingOptions(const fs::path& archive, const fs::path& log) {
  const std::string& path = archive.native();
  const char quote = path.find('"') == std::string::npos ? '"' : '\'';
  if (path.find(quote) != std::string::npos || path.find('\n') != std::string::npos)
    return std::nullopt;
  // An empty name takes back an archive that the file names already.
  std::string options = "-XX:SharedArchiveFile= -XX:ArchiveClassesAtExit=";
  options.append(1, quote).append(path).append(1, quote);
  return options + " -Xlog:cds*=off -Xlog:cds*=info:file=" + log.native();
}

std::string complaintInLog(std::string_view log) {
  for (const KnownComplaint& known : knownComplaints) {
    if (log.find(known.inLog) != std::string_view::npos) return std::string(known.meaning);
  }
  std::istringstream lines{std::string(log)};
  std::string last;
  for (std::string line; std::getline(lines, line);) {
    const bool complains =
        line.find("[warning") != std::string::npos || line.find("[error") != std::string::npos;
    // These are classes that an archive can do without.
    if (complains && line.find("Skipping ") == std::string::npos)
      last = line.substr(line.rfind(']') + 1);
  }
  last.erase(0, std::min(last.find_first_not_of(' '), last.size()));
  return last;
}

ClassDataAcceptance acceptanceOf(const fs::path& archive, const ClassDataLaunch& launch,
                                 const fs::path& scratchFolder) {
  if (launch.jvm.java.empty())
    return {false, "it cannot be tried, as there is no bin/java in " + launch.jvm.home.string()};
  const fs::path log = scratchFolder / "check.log";
  const fs::path classes = scratchFolder / "classes.log";
  ProgramRun run;
  run.arguments = {launch.jvm.java};
  run.arguments.insert(run.arguments.end(), launch.options.begin(), launch.options.end());
  for (const std::string& option :
       {"-XX:SharedArchiveFile=" + archive.native(), std::string("-Xshare:auto"),
        std::string("-Xlog:cds*=off"), "-Xlog:cds*=info,class+path=info:file=" + log.native(),
        "-Xlog:class+load=info:file=" + classes.native(), std::string("--dry-run"),
        launch.startClass}) {
    run.arguments.push_back(option);
  }
  run.environment = launch.exported;
  run.directory = launch.directory;
  run.output = ProgramRun::Output::dropped;
  run.limit = std::chrono::seconds(60);
  const ProgramEnd end = runProgram(run);
  if (end.error != 0)
    return {false,
            concat({launch.jvm.java.native(), " cannot be started: ", std::strerror(end.error)})};
  if (isFromArchive(launch.startClass, textOfFile(classes))) return {true, {}};

  std::string complaint = complaintInLog(textOfFile(log));
  const bool hasBlank = std::any_of(
      launch.classPath.begin(), launch.classPath.end(),
      [](const std::string& element) { return element.find(' ') != std::string::npos; });
  if (complaint.empty() && hasBlank)
    complaint = "this JVM finds no classes of paths with a blank in an archive; rename the folder";
  if (complaint.empty())
    complaint = "the JVM does not take " + launch.startClass +
                " from it; a class loader of the application's own, perhaps";
  return {false, complaint};
}
