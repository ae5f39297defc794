#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string>
#include <system_error>

#include <unistd.h>

#include "kvf/launch/JvmOptions.h"
#include "kvf/launch/LogOption.h"
#include "kvf/rules/Rule.h"
#include "kvf/rules/ShellSyntax.h"
#include "kvf/text/Text.h"

/// The files and folders that options of the JVM name.

namespace {

namespace fs = std::filesystem;

enum class PathUse {
  readFile,      ///< it has to be there
  searched,      ///< a list, of which a JVM ignores what does not exist
  written,       ///< its folder has to be there
  writtenBelow,  ///< the same, or a folder
};

struct PathOption {
  std::string_view prefix;
  std::string_view ends;  ///< the path ends at one of these
  PathUse use;
  bool isNeeded;        ///< the JVM does not start without
  const char* outcome;  ///< what happens, where it is not needed
};

constexpr PathOption pathOptions[] = {
    {"-javaagent:", "=", PathUse::readFile, true, ""},
    {"-agentpath:", "=", PathUse::readFile, true, ""},
    {"-XX:Flags=", "", PathUse::readFile, true, ""},
    {"-XX:VMOptionsFile=", "", PathUse::readFile, true, ""},
    {"-Xbootclasspath/a:", "", PathUse::searched, false, "the JVM silently ignores it"},
    {"--module-path=", "", PathUse::searched, false, "the JVM silently ignores it"},
    {"-Djava.library.path=", "", PathUse::searched, false, "no library is found there"},
    {"-XX:HeapDumpPath=", "", PathUse::writtenBelow, false, "there will be no heap dump"},
    {"-XX:ErrorFile=", "", PathUse::written, false,
     "a JVM that crashes writes its report elsewhere"},
    {"-XX:ArchiveClassesAtExit=", "", PathUse::written, false, "there will be no archive"},
    {"-XX:DumpLoadedClassList=", "", PathUse::written, false, "there will be no list"},
};

/// What is wrong with the folder of a file to write; empty: nothing.
std::string complaintAboutFolder(const fs::path& folder) {
  std::error_code error;
  // The JVM replaces these by numbers and times.
  if (folder.native().find('%') != std::string::npos) return {};
  if (!fs::exists(folder, error)) return concat({"there is no folder ", shown(folder.native())});
  if (!fs::is_directory(folder, error)) return concat({shown(folder.native()), " is not a folder"});
  if (::access(folder.c_str(), W_OK | X_OK) == 0) return {};
  return concat({"this user may not write to the folder ", shown(folder.native())});
}

std::string complaintAbout(const std::string& path, PathUse use) {
  std::error_code error;
  if (use == PathUse::readFile) {
    if (!fs::exists(path, error)) return concat({"there is no ", shown(path)});
    if (fs::is_directory(path, error)) return concat({shown(path), " is a folder"});
    return ::access(path.c_str(), R_OK) == 0 ? std::string()
                                             : concat({"this user may not read ", shown(path)});
  }
  if (use == PathUse::writtenBelow && fs::is_directory(path, error)) {
    return complaintAboutFolder(path);
  }
  if (use == PathUse::written && fs::is_directory(path, error)) {
    return concat({shown(path), " is a folder"});
  }
  if (fs::exists(path, error)) {
    return ::access(path.c_str(), W_OK) == 0 ? std::string()
                                             : concat({"this user may not write to ", shown(path)});
  }
  return complaintAboutFolder(fs::path(path).parent_path());
}

/// True for a path in a folder that the service manager makes, for the user of the service.
bool isInMadeFolder(const Inspection& inspection, const fs::path& path) {
  const auto& made = inspection.surroundings.madeFolders;
  return std::any_of(made.begin(), made.end(), [&](const std::string& folder) {
    return path == folder || path.parent_path() == folder;
  });
}

struct OptionReport {
  const Inspection& inspection;
  Report& report;
  OptionPlaces& places;
  const std::string& option;

  void operator()(std::string_view path, PathUse use, bool isNeeded,
                  std::string_view outcome) const {
    if (path.empty()) return;
    const std::string place = inspection.atApplication(path);
    const bool isWritten = use == PathUse::written || use == PathUse::writtenBelow;
    if (isWritten && isInMadeFolder(inspection, place)) return;
    const std::string complaint = complaintAbout(place, use);
    if (complaint.empty()) return;
    Finding& finding =
        report(places.of(option), concat({complaint, " for ", shown(option), ", and ",
                                          isNeeded ? "the JVM does not start" : outcome,
                                          ": correct the path, or create what it names"}));
    finding.fatal = isNeeded && inspection.startsJvm();
    finding.harmless = !isNeeded;
  }
};

void reportSearched(const OptionReport& report, std::string_view list, std::string_view outcome) {
  std::error_code error;
  const Position at = report.places.of(report.option);
  for (const std::string_view element : piecesOf(list, ":")) {
    const std::string path = report.inspection.atApplication(element);
    if (fs::exists(path, error)) continue;
    const std::size_t semicolon = element.find(';');
    if (semicolon != std::string_view::npos) {
      report.report(at, concat({"a JVM separates the elements of ", shown(report.option),
                                " by \":\" alone, so that ", shown(element),
                                " is one, and not there: write \":\" for \";\""}));
    } else if (!shellExpansionIn(element)) {
      report.report.harmless(at, concat({"there is no ", shown(path), " for ", shown(report.option),
                                         ", and ", outcome, ": correct the path"}));
    }
  }
}

/// "filename=FILE" and "settings=FILE" among the options of a recording.
void reportRecording(const OptionReport& report, std::string_view options) {
  for (std::size_t at = 0; at < options.size();) {
    const std::size_t end = std::min(options.find(',', at), options.size());
    const std::string_view one = options.substr(at, end - at);
    at = end + 1;
    if (one.find('"') != std::string_view::npos || one.find('\'') != std::string_view::npos) return;
    constexpr std::string_view fileMark = "filename=";
    constexpr std::string_view settingsMark = "settings=";
    if (one.starts_with(fileMark)) {
      report(one.substr(fileMark.size()), PathUse::writtenBelow, true, "");
    } else if (one.starts_with(settingsMark) && one.find('/') != std::string_view::npos) {
      report(one.substr(settingsMark.size()), PathUse::readFile, true, "");
    }
  }
}

void optionPath(const Inspection& inspection, Report& take) {
  if (!inspection.isJava() || !inspection.startsApplication()) return;
  constexpr std::string_view recording = "-XX:StartFlightRecording";
  OptionPlaces places(inspection);
  for (const std::string& option : inspection.plan.options) {
    const OptionReport report{inspection, take, places, option};
    const std::string_view text = option;
    if (const std::string_view log = logFileOf(text); !log.empty()) {
      const bool isNeeded = text.starts_with("-Xlog:");
      report(log, PathUse::written, isNeeded, "the JVM starts without the log");
    }
    if (text.starts_with(recording) && text.size() > recording.size()) {
      reportRecording(report, text.substr(recording.size() + 1));
    }
    for (const PathOption& one : pathOptions) {
      if (!text.starts_with(one.prefix)) continue;
      std::string_view path = text.substr(one.prefix.size());
      if (one.use == PathUse::searched) {
        reportSearched(report, path, one.outcome);
        continue;
      }
      if (!one.ends.empty()) path = path.substr(0, path.find_first_of(one.ends));
      report(path, one.use, one.isNeeded, one.outcome);
    }
  }
}

constexpr Rule rules[] = {
    {.id = "option-path",
     .severity = Severity::error,
     .summary = "a path in a JVM option that does not exist",
     .explanation =
         "Agents, logs, recordings, dumps: the file to read, or the folder of the file to write, "
         "does not exist, or this user has no access to it. A relative path is relative to the "
         "application's working directory. Without an agent, a log of -Xlog or a recording the JVM "
         "does not start; a missing dump is only noticed when it is too late.",
     .example = {.lines = "java.extended.properties=-XX:HeapDumpPath=%kvf.file.dir%/dumps/"},
     .remedy = {.note = "mkdir dumps",
                .lines = "java.extended.properties=-XX:HeapDumpPath=%kvf.file.dir%/dumps/",
                .files = {{.path = "dumps/README", .content = "Heap dumps\n"}}},
     .check = optionPath},
};

}  // namespace

std::span<const Rule> optionPathRules() {
  return rules;
}
