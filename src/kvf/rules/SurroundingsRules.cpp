#include <algorithm>
#include <cctype>
#include <filesystem>
#include <map>

#include <sys/stat.h>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "kvf/process/ProgramPath.h"
#include "kvf/rules/Rule.h"
#include "kvf/rules/ShellSyntax.h"
#include "kvf/text/Text.h"

namespace {

namespace fs = std::filesystem;

void startDirectory(const Inspection& inspection, Report& report) {
  const auto directory = inspection.value(keys::startDirectory);
  // One without a name cannot be entered, which the launcher ignores.
  if (!directory || directory->empty()) return;
  const Position at = inspection.positionOf(keys::startDirectory);
  if (inspection.surroundings.hasFolder(inspection.atLauncher(*directory))) {
    if (directory->starts_with('/') || *directory == ".") return;
    report.harmless(
        at, concat({shown(*directory), " is relative: it depends on where the launcher is started ",
                    "from, and --run enters it twice; begin it with / or with an absolute ",
                    "reference"}));
    return;
  }
  report(at, concat({"there is no folder ", shown(*directory),
                     "; the launcher silently stays in its working directory"}));
}

void processIdFile(const Inspection& inspection, Report& report) {
  const auto name = inspection.value(keys::processIdFile);
  if (!name || name->empty() || shellExpansionIn(*name)) return;
  const Position at = inspection.positionOf(keys::processIdFile);
  const std::string path = inspection.atLauncher(*name);
  const std::string folder = fs::path(path).parent_path().string();
  struct stat status = {};
  if (!inspection.surroundings.hasFolder(folder)) {
    report(at, concat({"there is no folder ", shown(folder),
                       ": the launcher prints \"file ... can not access\" and runs without a ",
                       "process-ID file"}));
  } else if (::stat(folder.c_str(), &status) == 0 && (status.st_mode & S_IWOTH) != 0) {
    report(at,
           concat({"everyone may write to ", shown(folder),
                   ": another user can place a file or a link of that name there; use a folder ",
                   "of the service's own, below /run"}));
  }
  if (name->starts_with('/')) return;
  report(at,
         concat({shown(*name), " is relative: --kill finds it only from the working directory of ",
                 "the start; use an absolute path"}));
}

bool isShellName(std::string_view name) {
  if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0])) != 0) return false;
  return std::all_of(name.begin(), name.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
  });
}

void environmentName(const Inspection& inspection, Report& report) {
  for (const Entry& entry : inspection.run().entries) {
    if (!entry.key.starts_with(keys::environmentPrefix)) continue;
    if (isShellName(entry.variable())) continue;
    report(
        entry.at,
        concat({shown(entry.variable()), " is not a name that a shell takes: a script cannot ",
                "set it, and a shell that the application starts may drop it; use letters, digits ",
                "and _"}));
  }
}

void pathHidesLauncher(const Inspection& inspection, Report& report) {
  const auto exported = inspection.plan.exported.find("PATH");
  if (exported == inspection.plan.exported.end() || !inspection.inner) return;
  const std::string program = inspection.commandLine[0];
  if (program.find('/') != std::string::npos) return;
  const auto along = [&](const std::string& path) {
    return programAlongPath(program, path, inspection.plan.outerDirectory);
  };
  const fs::path former = along(inspection.surroundings.variable("PATH"));
  if (former.empty() || !along(exported->second).empty()) return;
  report.fatal(
      inspection.positionOf(std::string(keys::environmentPrefix) + "PATH"),
      concat({"the launcher starts itself again as ", shown(program),
              " along this PATH, which lacks its folder ", shown(former.parent_path().native()),
              ", and ends with \"Failed to exec process\": write %PATH% into the value, or start ",
              "the launcher by its full path"}));
}

std::string_view firstUnsafe(std::string_view word) {
  const bool quoted = word.find(' ') != std::string_view::npos;
  const std::string_view inQuotes = "\"$`\\";
  const std::string_view bare = "\"$`\\';&|<>(){}*?[#~\t\n\r";
  const std::size_t found = word.find_first_of(quoted ? inQuotes : bare);
  return found == std::string_view::npos ? std::string_view() : word.substr(found, 1);
}

bool writesScript(const Inspection& inspection) {
  return inspection.forScript || inspection.command() == switches::generateScript;
}

void scriptValue(const Inspection& inspection, Report& report) {
  if (!writesScript(inspection)) return;
  const auto broken = [&](const Position& at, std::string_view what, std::string_view text,
                          std::string_view why = "since it quotes nothing but blanks") {
    report(at, concat({"a generated script cannot carry ", what, " ", shown(text), ", ", why,
                       ": use --run or --cmdlineJava, or another value"}));
  };
  const SimpleProperties& merged = inspection.run().merged;
  merged.forEach([&](const WString& name, const WString& text) {
    const std::string key = toString(name);
    const Entry* entry = inspection.entryOf(key);
    if (entry == nullptr) return;
    const std::string_view value = text.view();
    if (key.starts_with(keys::environmentPrefix)) {
      const bool isBare = value.find(' ') == std::string_view::npos;
      const std::string_view why =
          !isBare || !firstUnsafe(value).empty()      ? "since it quotes no variable"
          : value.find('=') != std::string_view::npos ? "since it cuts it at the last \"=\""
                                                      : "";
      if (!why.empty()) broken(entry->at, "the variable's value", value, why);
    } else if (key.starts_with(keys::javaPropertyPrefix) || key == keys::startClass ||
               key == keys::javaLibrary || key == keys::javaPath) {
      if (!firstUnsafe(value).empty()) broken(entry->at, "the value", value);
    }
  });
  for (const std::string& argument : inspection.plan.arguments) {
    if (firstUnsafe(argument).empty()) continue;
    broken(inspection.positionOf(keys::applicationArgs), "the argument", argument);
  }
}

/// A position in global.kvf that stands for the whole file.
Position globalFilePosition(const Inspection& inspection) {
  const auto& files = inspection.run().files;
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (files[i].global && !files[i].includedAt) return {static_cast<int>(i), 0};
  }
  return inspection.mainFile();
}

void globalFile(const Inspection& inspection, Report& report) {
  const std::string& name = inspection.run().globalFile;
  const Position at = globalFilePosition(inspection);
  // Another rule reports one that cannot be read.
  if (name.empty() || at == inspection.mainFile()) return;
  std::string taken;
  for (const auto& [key, isTaken] : inspection.run().globalKeys) {
    if (!isTaken || key == keys::fileDirectory || key == keys::pathSeparator) continue;
    taken += (taken.empty() ? "" : ", ") + key;
  }
  const bool here = name.find('/') == std::string::npos;
  report(at,
         concat({shown(here ? inspection.plan.outerDirectory + "/" + name : name),
                 " is in effect, since it is ",
                 here ? "in the working directory" : "in a folder of PATH", "; it supplies ",
                 taken.empty() ? "nothing" : taken,
                 ": if that is meant, say so in its first comment with # kvf: allow global-file"}));
}

void globalFileUnusable(const Inspection& inspection, Report& report) {
  for (const Failure& failure : inspection.failures(Failure::Stage::globalFile)) {
    report.fatal(inspection.mainFile(),
                 concat({"the launch ends with ", shown(failure.message), ", as ",
                         shown(inspection.run().globalFile),
                         " is there and cannot be opened: remove it, or make it readable"}),
                 failure.message);
  }
}

void globalFileOptions(const Inspection& inspection, Report& report) {
  constexpr const char* sensitive[] = {keys::javaLibrary,        keys::applicationLibrary,
                                       keys::extendedProperties, keys::classPathExtended,
                                       keys::classPath,          keys::javaPath,
                                       keys::adjusterClassPath,  keys::javaLibraryPath};
  for (const Entry& entry : inspection.run().entries) {
    if (!entry.global) continue;
    const bool matters = std::any_of(std::begin(sensitive), std::end(sensitive),
                                     [&](const char* key) { return entry.key == key; });
    const bool taken = inspection.isFromGlobalFile(entry.key);
    if (entry.variable().empty() && (!matters || !taken)) continue;
    report(entry.at,
           concat({"the global file gives ", shown(entry.key),
                   " to every start that finds it: whoever can write it decides what is loaded; ",
                   "keep it where only an administrator can write"}));
  }
}

/// True when both read the same main file, as the commands of one service do.
bool haveSameMainFile(const Inspection& one, const Inspection& other) {
  if (!one.hasMainFile() || !other.hasMainFile()) return false;
  std::error_code error;
  const std::string path = one.atLauncher(one.run().files.front().name);
  const std::string otherPath = other.atLauncher(other.run().files.front().name);
  return path == otherPath || fs::equivalent(path, otherPath, error);
}

void sharedProcessIdFile(std::span<const Inspection> inspections, Report& report) {
  std::map<std::string, const Inspection*> owners;
  for (const Inspection& inspection : inspections) {
    const auto name = inspection.value(keys::processIdFile);
    if (!name || name->empty() || inspection.command() == switches::kill) continue;
    const std::string path = fs::path(inspection.atLauncher(*name)).lexically_normal().string();
    const auto [owner, isNew] = owners.emplace(path, &inspection);
    if (isNew) continue;
    const Inspection& other = *owner->second;
    if (haveSameMainFile(inspection, other)) continue;
    report.turnTo(inspection);
    report(inspection.positionOf(keys::processIdFile),
           concat({shown(path), " is the process-ID file of ",
                   other.nameOf(other.positionOf(keys::processIdFile)),
                   " too: the instances overwrite each other's; give each its own"}));
  }
}

constexpr Rule rules[] = {
    {.id = "start-directory",
     .severity = Severity::error,
     .summary = "a start directory that is missing or relative",
     .explanation = "The launcher changes to application.start.dir and ignores a failure. --run "
                    "enters a relative path twice.",
     .example = {.lines = "application.start.dir=data"},
     .remedy = {.lines = "application.start.dir=%kvf.file.dir%/data",
                .files = {{.path = "data/note"}}},
     .check = startDirectory},
    {.id = "process-id-file",
     .severity = Severity::warning,
     .summary = "a process-ID file in a doubtful place",
     .explanation = "The file is written before the working directory changes. A missing folder is "
                    "reported but does not end the launch; in a folder that everyone may write to, "
                    "others can create the file first.",
     .example = {.lines = "processID.file.name=/tmp/acme.pid"},
     .remedy = {.lines = "processID.file.name=/run/acme.pid"},
     .check = processIdFile},
    {.id = "environment-name",
     .severity = Severity::warning,
     .summary = "a variable name that no shell accepts",
     .explanation = "The environment takes any name without \"=\"; a shell only letters, digits "
                    "and _, and no digit in front.",
     .example = {.lines = "velox.env.my-var=1"},
     .remedy = {.lines = "velox.env.MY_VAR=1"},
     .check = environmentName},
    {.id = "path-hides-launcher",
     .severity = Severity::error,
     .summary = "a PATH on which the launcher is not found again",
     .explanation = "A launch that exports variables starts itself again by the name it was "
                    "started with, along the new PATH.",
     .example = {.note = "The launcher is in a folder of PATH, such as /opt/acme/bin.",
                 .lines = "velox.env.PATH=/opt/gone",
                 .command = "kvf check -- wrapper --propFile acme.kvf"},
     .remedy = {.lines = "velox.env.PATH=/opt/gone:%PATH%",
                .command = "kvf check -- wrapper --propFile acme.kvf"},
     .check = pathHidesLauncher},
    {.id = "script-value",
     .severity = Severity::error,
     .summary = "a value that a generated script cannot carry",
     .explanation =
         "The script puts words with a blank in double quotes and escapes nothing. The value of a "
         "variable is not quoted at all and loses everything from its last \"=\" on. Checked when "
         "the command line generates a script, and with --script.",
     .example = {.lines = "application.args=$HOME", .command = "kvf check --script acme.kvf"},
     .remedy = {.note = "Start it with --run or --cmdlineJava, which carry it.",
                .lines = "application.args=$HOME"},
     .check = scriptValue},
    {.id = "global-file",
     .severity = Severity::warning,
     .summary = "a global.kvf that is in effect",
     .explanation = "A global.kvf in the working directory, else the first one along PATH, "
                    "supplies every key that the file leaves absent or empty.",
     .example = {.note = "There is a global.kvf in the folder that the launcher is started from.",
                 .files = {{.path = "global.kvf", .content = "java.property.a=1\n"}}},
     .remedy = {.note =
                    "Start from a folder without one; if it is meant, allow it in its first line.",
                .files = {{.path = "global.kvf",
                           .content = "# kvf: allow global-file\njava.property.a=1\n"}}},
     .check = globalFile},
    {.id = "global-file-unusable",
     .severity = Severity::error,
     .summary = "a global.kvf that cannot be opened",
     .explanation = "When the name exists but the file cannot be read, or is a dangling link, the "
                    "launch ends.",
     .example = {.note = "global.kvf is a dangling link.",
                 .files = {{.path = "global.kvf",
                            .content = "gone.kvf",
                            .kind = ExampleFile::Kind::link}}},
     .remedy = {.note = "Remove the link."},
     .check = globalFileUnusable},
    {.id = "global-file-options",
     .severity = Severity::warning,
     .summary = "a global.kvf that adds options or libraries",
     .explanation =
         "It can name the JVM, options, libraries and variables for every start that finds it.",
     .example = {.note = "A global.kvf with options.",
                 .files = {{.path = "global.kvf",
                            .content =
                                "# kvf: allow global-file\njava.extended.properties=-Xint\n"}}},
     .remedy = {.note =
                    "Keep it where only an administrator can write, and allow it with a comment.",
                .files = {{.path = "global.kvf",
                           .content = "# kvf: allow global-file\n\n# kvf: allow "
                                      "global-file-options\njava.extended.properties=-Xint\n"}}},
     .check = globalFileOptions},
    {.id = "shared-process-id-file",
     .severity = Severity::warning,
     .summary = "several files with one process-ID file",
     .explanation = "The instance that starts last overwrites the ID of the others, and --kill "
                    "ends only that one. Checked among the files of one kvf check.",
     .example = {.lines = "processID.file.name=/run/acme.pid",
                 .command = "kvf check acme.kvf billing.kvf",
                 .files = {{.path = "billing.kvf",
                            .content = "application.library=%kvf.file.dir%/"
                                       "libacme.so\nprocessID.file.name=/run/acme.pid\n"}}},
     .remedy = {.note = "Give each a file of its own.",
                .lines = "processID.file.name=/run/acme.pid",
                .command = "kvf check acme.kvf billing.kvf",
                .files = {{.path = "billing.kvf",
                           .content = "application.library=%kvf.file.dir%/"
                                      "libacme.so\nprocessID.file.name=/run/billing.pid\n"}}},
     .compare = sharedProcessIdFile},
};

}  // namespace

std::span<const Rule> surroundingsRules() {
  return rules;
}
