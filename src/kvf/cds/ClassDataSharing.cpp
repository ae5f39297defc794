#include "kvf/cds/ClassDataSharing.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <system_error>

#include "foundation/PropertyKeys.h"
#include "javarun/ClassPath.h"
#include "kvf/cds/ArchivableClassPath.h"
#include "kvf/launch/JvmTrialRun.h"
#include "kvf/launch/LaunchJvm.h"
#include "kvf/launch/TrialOptions.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

// A machine may be busy, and a large application has 50,000 classes.
constexpr unsigned maxSecondsToMake = 1800;

/// Options with which no JVM uses an archive.
struct ForbiddenOption {
  std::string_view start;
  std::string_view ofLinked;  ///< an archive with linked classes only, and why
};
constexpr std::string_view debugger = "; an archive is for starts without the debugger";
constexpr ForbiddenOption forbiddenOptions[] = {
    {"-Xshare:off", {}},          {"-Xshare:dump", {}},    {"-XX:-UseSharedSpaces", {}},
    {"--patch-module", {}},       {"--limit-modules", {}}, {"--upgrade-module-path", {}},
    {"-agentlib:jdwp", debugger}, {"-Xrunjdwp", debugger},
};

struct ModuleOfOption {
  std::string_view option;
  std::string_view name;
};
constexpr ModuleOfOption modulesOfOptions[] = {{"-javaagent:", "java.instrument"},
                                               {"-XX:StartFlightRecording", "jdk.jfr"},
                                               {"-Dcom.sun.management.", "jdk.management.agent"}};

struct KnownComplaint {
  std::string_view inLog;
  std::string_view meaning;
};
constexpr KnownComplaint knownComplaints[] = {
    {"Unable to write to shared archive", archiveNotStored},
    {"Unable to seek to position", archiveNotStored},
    {"non-empty directory",
     "a folder in the class path is not empty; name the archives in it instead"},
    {"base CDS archive is not loaded",
     "the JVM has no archive of its own; the command `java -Xshare:dump` of that JVM writes it"},
    {"was created by a different version or build", "another JVM wrote it"},
    {"shared archive file version", "another JVM wrote it"},
    {"Mismatched values for property", "it was written with other options for modules"},
    {"directory is not empty",
     "a folder in the class path is not empty; name the archives in it instead"},
    {"classpath mismatch", "it was written for another class path"},
    {"class paths mismatch", "it was written for another class path"},
    {"A jar file is not the one used", "an archive of the class path has changed"},
    {"has been modified", "an archive of the class path has changed"},
};

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

bool isArchiveFile(const fs::path& path) {
  std::error_code error;
  return fs::is_regular_file(path, error);
}

/// "clojure.main source: shared objects file (top)" among the lines of the loading log.
bool isFromArchive(const std::string& className, const std::string& log) {
  return log.find("] " + className + " source: shared objects file") != std::string::npos;
}

/// The end of the elements that an archive is made for: after it there are only folders.
std::vector<std::string>::const_iterator endOfArchives(const std::vector<std::string>& classPath) {
  return std::find_if(classPath.rbegin(), classPath.rend(), isArchiveFile).base();
}

std::string joined(std::vector<std::string>::const_iterator at,
                   std::vector<std::string>::const_iterator end) {
  std::string text;
  for (; at != end; ++at) text += (text.empty() ? "" : ":") + *at;
  return text;
}

/// The options for a JVM beside the application: without those that act outside of the JVM, but
/// with the modules that they would bring.
std::vector<std::string> optionsBeside(const ClassDataLaunch& launch, const fs::path& scratch) {
  std::vector<std::string> options;
  for (const ModuleOfOption& module : modulesOfOptions) {
    const bool isThere =
        std::any_of(launch.options.begin(), launch.options.end(),
                    [&](const std::string& option) { return option.starts_with(module.option); });
    if (isThere) options.push_back(concat({"--add-modules=", module.name}));
  }
  for (const TriedOption& option : trialOptions(launch.options, scratch.native()).options)
    options.push_back(option.tried);
  options.emplace_back("-XX:+IgnoreUnrecognizedVMOptions");
  options.emplace_back("-XX:-UsePerfData");
  return options;
}

JvmRun runOf(const ClassDataLaunch& launch) {
  JvmRun run;
  run.library = launch.jvm.library;
  run.environment = launch.environment;
  leaveOutVariables(run.environment);
  run.directory = launch.directory;
  return run;
}

void append(std::vector<std::string>& options, const std::vector<std::string>& more) {
  options.insert(options.end(), more.begin(), more.end());
}

std::string fileLog(const ArchiveKind& kind, const fs::path& log) {
  return concat({"-Xlog:", kind.logTags, ":file=", log.native()});
}

/// What the JVM printed last, when no known reason was found.
std::string lastLineOf(const std::string& text) {
  std::istringstream lines(text);
  std::string last;
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && !line.starts_with("Picked up ")) last = line;
  }
  return last;
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
  launch.environment = environmentOfLaunch(inspection);
  std::remove_copy_if(inspection.plan.options.begin(), inspection.plan.options.end(),
                      std::back_inserter(launch.options), isArchiveOption);
  launch.classPath = classPathIn(launch.options, launch.directory);
  return {std::move(launch), {}};
}

std::vector<std::string> classDataObstacles(const ClassDataLaunch& launch,
                                            const ArchiveKind& kind) {
  std::vector<std::string> obstacles;
  const bool isLinked = kind.isLinked(launch.jvm.release);
  for (const std::string& option : launch.options) {
    for (const ForbiddenOption& forbidden : forbiddenOptions) {
      if (!option.starts_with(forbidden.start) || (!forbidden.ofLinked.empty() && !isLinked))
        continue;
      obstacles.push_back(concat({"the JVM uses no ", kind.title, " with the option ",
                                  shown(option), forbidden.ofLinked}));
    }
  }
  // Folders after the last archive are not looked at.
  const auto end = endOfArchives(launch.classPath);
  for (auto element = launch.classPath.begin(); element != end; ++element) {
    if (isFolderWithFiles(*element)) {
      obstacles.push_back(concat({"the folder ", shown(*element),
                                  " is on the class path and not empty, and archives follow it"}));
    }
  }
  return obstacles;
}

std::vector<std::string> classDataWritingObstacles(const ClassDataLaunch& launch,
                                                   const ArchiveKind& kind) {
  std::vector<std::string> obstacles;
  if (launch.jvm.release != 0 && launch.jvm.release < kind.firstRelease) {
    obstacles.push_back(concat({"Java ", launch.jvm.version, " makes no ", kind.title, "; Java ",
                                std::to_string(kind.firstRelease), " and newer do"}));
  }
  append(obstacles, classDataObstacles(launch, kind));
  const auto end = endOfArchives(launch.classPath);
  if (end == launch.classPath.begin()) {
    for (const std::string& element : launch.classPath) {
      if (isFolderWithFiles(element))
        obstacles.push_back(concat({"the class path has no archive, only the folder ",
                                    shown(element), ": make an archive of it, as --jar does"}));
    }
  } else if (std::string_view(kind.name) == "aot" &&
             std::any_of(end, launch.classPath.end(), isFolderWithFiles)) {
    obstacles.push_back(
        concat({"the folder ", shown(*std::find_if(end, launch.classPath.end(), isFolderWithFiles)),
                " is on the class path and not empty"}));
  }
  return obstacles;
}

SuitableKinds suitableKinds(const ClassDataLaunch& launch, std::string_view wanted,
                            bool withCommand) {
  SuitableKinds suitable;
  std::vector<const ArchiveKind*>& kinds = suitable.kinds;
  for (const ArchiveKind& kind : archiveKinds()) {
    const bool isWanted = wanted == "auto" || wanted == kind.name;
    if (isWanted && classDataWritingObstacles(launch, kind).empty()) kinds.push_back(&kind);
  }
  const auto isMadeOnce = [](const ArchiveKind* kind) { return kind->cancelOption.empty(); };
  const auto once = std::find_if(kinds.begin(), kinds.end(), isMadeOnce);
  if (!withCommand || once == kinds.end()) return suitable;
  suitable.remark = concat({"kvf cds --refresh cannot make an ", (*once)->title,
                            " of a command anew: with one a JVM records nothing"});
  if (!std::all_of(kinds.begin(), kinds.end(), isMadeOnce)) {
    suitable.remark += concat({"; --kind=", (*once)->name, " makes one all the same"});
    std::erase_if(kinds, isMadeOnce);
  }
  return suitable;
}

std::optional<std::string> asWords(const std::vector<std::string>& options) {
  std::string words;
  for (const std::string& option : options) {
    const char quote = option.find('"') == std::string::npos ? '"' : '\'';
    if (option.find(quote) != std::string::npos || option.find('\n') != std::string::npos)
      return std::nullopt;
    if (!words.empty()) words += ' ';
    const bool isPlain = option.find_first_of(" \t'\"") == std::string::npos;
    words += isPlain ? option : quote + option + quote;
  }
  return words;
}

std::vector<std::string> useOptions(const ArchiveKind& kind, const fs::path& archive) {
  return {concat({kind.useOption, archive.native()}), std::string(kind.quietOption)};
}

std::string recordInProcess(const ArchiveKind& kind, const ClassDataLaunch& launch,
                            const ArchiveFiles& files) {
  JvmRun run = runOf(launch);
  run.startClass = launch.startClass;
  run.endsInOrder = true;
  run.options = launch.options;
  append(run.options, recordingOptions(kind, files));
  const JvmRunEnd end = runJvm(run);
  return end.started ? std::string() : "it does not start with " + run.options.back();
}

std::string makeArchive(const ArchiveKind& kind, const ClassDataLaunch& launch,
                        const ArchiveFiles& files, const fs::path& scratchFolder) {
  JvmRun run = runOf(launch);
  const std::vector<std::string> making = makingOptions(kind, launch.jvm.release, files);
  std::error_code error;
  if (!making.empty()) {
    const fs::path log = scratchFolder / "make.log";
    run.maxSeconds = maxSecondsToMake;
    run.options = optionsBeside(launch, scratchFolder);
    // No JVM writes an archive for folders; when it uses one, it does not look at those at the end.
    run.options.push_back(concat(
        {classPathOption, joined(launch.classPath.begin(), endOfArchives(launch.classPath))}));
    append(run.options, making);
    run.options.push_back(fileLog(kind, log));
    fs::remove(files.archive, error);
    const JvmRunEnd end = runJvm(run);
    if (end.timedOut) return "it did not end within half an hour";
    // Some releases leave an archive that could not be written to its end.
    if (!end.started) fs::remove(files.archive, error);
    if (!fs::exists(files.archive, error)) {
      const std::string complaint = complaintInLog(textOfFile(log) + end.text);
      return complaint.empty() ? lastLineOf(end.text) : complaint;
    }
  }
  return fs::exists(files.archive, error) ? std::string() : "it wrote none at its end";
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
    // An archive does not need these classes.
    if (complains && line.find("Skipping ") == std::string::npos)
      last = line.substr(line.rfind(']') + 1);
  }
  last.erase(0, std::min(last.find_first_not_of(' '), last.size()));
  return last;
}

ClassDataAcceptance acceptanceOf(const ArchiveKind& kind, const fs::path& archive,
                                 const ClassDataLaunch& launch, const fs::path& scratchFolder) {
  const fs::path log = scratchFolder / "check.log";
  const fs::path classes = scratchFolder / "classes.log";
  std::error_code error;
  for (const fs::path& file : {log, classes}) fs::remove(file, error);
  JvmRun run = runOf(launch);
  run.startClass = launch.startClass;
  run.options = optionsBeside(launch, scratchFolder);
  append(run.options, useOptions(kind, archive));
  run.options.push_back(fileLog(kind, log));
  run.options.push_back("-Xlog:class+load=info:file=" + classes.native());
  const JvmRunEnd end = runJvm(run);
  if (isFromArchive(launch.startClass, textOfFile(classes))) return {true, {}};

  std::string complaint = complaintInLog(textOfFile(log));
  // The JVM compares the path with that of a URL, in which such characters are encoded.
  const auto isEncoded = [](char c) { return c <= ' ' || c > '~'; };
  const bool hasEncoded = std::any_of(
      launch.classPath.begin(), launch.classPath.end(),
      [&](const std::string& path) { return std::any_of(path.begin(), path.end(), isEncoded); });
  if (complaint.empty() && !end.started) complaint = lastLineOf(end.text);
  if (complaint.empty()) complaint = end.classFailure;
  if (complaint.empty() && hasEncoded)
    complaint =
        "this JVM finds no classes of paths with a blank or a letter beyond ASCII in an archive; "
        "rename the folder";
  if (complaint.empty())
    complaint = "the JVM does not take " + launch.startClass +
                " from it; a class loader of the application's own, perhaps";
  return {false, complaint};
}
