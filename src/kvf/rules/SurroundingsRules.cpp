#include <algorithm>
#include <cctype>
#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "foundation/TextPieces.h"
#include "kvf/rules/Rules.h"
#include "kvf/text/Text.h"

namespace {

namespace fs = std::filesystem;

bool isFolder(const std::string& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

void startDirectory(const Inspection& inspection, const Report& report) {
  const auto directory = inspection.value(keys::startDirectory);
  if (!directory) return;
  const Position at = inspection.positionOf(keys::startDirectory);
  if (!directory->starts_with('/')) {
    report(at,
           concat({shown(*directory), " is relative: it depends on where the launcher is started ",
                   "from, and --run enters it twice; begin it with / or with an absolute ",
                   "reference"}));
    return;
  }
  if (isFolder(*directory)) return;
  report(at, concat({"there is no folder ", shown(*directory),
                     "; the launcher stays in its working directory without a word"}));
}

void processIdFile(const Inspection& inspection, const Report& report) {
  const auto name = inspection.value(keys::processIdFile);
  if (!name || name->empty()) return;
  const Position at = inspection.positionOf(keys::processIdFile);
  const std::string path = inspection.atLauncher(*name);
  const std::string folder = fs::path(path).parent_path().string();
  struct stat status = {};
  if (::stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) {
    report(at, concat({"there is no folder ", shown(folder),
                       ": the launcher prints \"file ... can not access\" and runs without a ",
                       "process-ID file"}));
  } else if ((status.st_mode & S_IWOTH) != 0) {
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

void environmentName(const Inspection& inspection, const Report& report) {
  for (const Definition& definition : inspection.run().definitions) {
    if (!definition.key.starts_with(keys::environmentPrefix)) continue;
    if (isShellName(definition.variable())) continue;
    report(
        definition.at,
        concat({shown(definition.variable()), " is no name that a shell takes: a script cannot ",
                "set it, and a shell that the application starts may drop it; use letters, digits ",
                "and _"}));
  }
}

std::string folderOfProgram(const std::string& program, std::string_view path) {
  if (program.find('/') != std::string::npos) return {};
  for (const std::string_view element : pathElements(path)) {
    const std::string file = concat({element, "/", program});
    if (::access(file.c_str(), X_OK) == 0) return std::string(element);
  }
  return {};
}

void pathHidesLauncher(const Inspection& inspection, const Report& report) {
  const auto exported = inspection.plan.exported.find("PATH");
  if (exported == inspection.plan.exported.end() || !inspection.inner) return;
  const char* now = std::getenv("PATH");
  const std::string program = inspection.commandLine[0];
  const std::string folder = folderOfProgram(program, now == nullptr ? "" : now);
  if (folder.empty() || !folderOfProgram(program, exported->second).empty()) return;
  report.end(
      inspection.positionOf(std::string(keys::environmentPrefix) + "PATH"),
      concat({"the launcher starts itself again as ", shown(program),
              " along this PATH, which lacks its folder ", shown(folder),
              ", and ends with \"Failed to exec process\": write %PATH% into the value, or start ",
              "the launcher by its full path"}));
}

void adjusterLibrary(const Inspection& inspection, const Report& report) {
  if (inspection.valueOf(keys::adjusterClassPath).empty() || inspection.isJava()) return;
  if (!inspection.knowsAllKeys()) return;
  report(
      inspection.positionOf(keys::adjusterClassPath),
      "an adjuster needs java.library: without, the application itself runs in its place, and its "
      "status decides; name the JVM's library");
}

std::string_view whatAScriptBreaks(std::string_view word) {
  const bool quoted = word.find(' ') != std::string_view::npos;
  const std::string_view inQuotes = "\"$`\\";
  const std::string_view bare = "\"$`\\';&|<>(){}*?[#~\t\n\r";
  const std::size_t found = word.find_first_of(quoted ? inQuotes : bare);
  return found == std::string_view::npos ? std::string_view() : word.substr(found, 1);
}

bool writesScript(const Inspection& inspection) {
  return inspection.forScript || inspection.command() == switches::generateScript;
}

void scriptValue(const Inspection& inspection, const Report& report) {
  if (!writesScript(inspection)) return;
  const auto broken = [&](const Position& at, std::string_view what, std::string_view text,
                          std::string_view why = "since it quotes nothing but blanks") {
    report(at, concat({"a generated script cannot carry ", what, " ", shown(text), ", ", why,
                       ": use --run or --cmdlineJava, or another value"}));
  };
  const SimpleProperties& merged = inspection.run().merged;
  merged.forEach([&](const WString& name, const WString& text) {
    const std::string key = toString(name);
    const Definition* definition = inspection.definitionOf(key);
    if (definition == nullptr) return;
    const std::string_view value = text.view();
    if (key.starts_with(keys::environmentPrefix)) {
      const bool isBare = value.find(' ') == std::string_view::npos;
      const std::string_view why =
          !isBare || !whatAScriptBreaks(value).empty() ? "since it quotes no variable"
          : value.find('=') != std::string_view::npos  ? "since it cuts it at the last \"=\""
                                                       : "";
      if (!why.empty()) broken(definition->at, "the variable's value", value, why);
    } else if (key.starts_with(keys::javaPropertyPrefix) || key == keys::startClass ||
               key == keys::javaLibrary || key == keys::javaPath) {
      if (!whatAScriptBreaks(value).empty()) broken(definition->at, "the value", value);
    }
  });
  for (const std::string& argument : inspection.plan.arguments) {
    if (!argument.empty() && whatAScriptBreaks(argument).empty()) continue;
    broken(inspection.positionOf(keys::applicationArgs), "the argument", argument);
  }
}

/// A place in global.kvf that speaks for the whole file.
Position globalFilePosition(const Inspection& inspection) {
  const auto& files = inspection.run().files;
  for (std::size_t i = 0; i < files.size(); ++i) {
    if (files[i].global && !files[i].includedAt) return {static_cast<int>(i), 0};
  }
  return inspection.mainFile();
}

void globalFile(const Inspection& inspection, const Report& report) {
  const std::string& name = inspection.run().globalFile;
  const Position at = globalFilePosition(inspection);
  // One that cannot be read is another rule's.
  if (name.empty() || at == inspection.mainFile()) return;
  std::string taken;
  for (const auto& [key, isTaken] : inspection.run().globalKeys) {
    if (!isTaken || key == keys::fileDirectory || key == keys::pathSeparator) continue;
    taken += (taken.empty() ? "" : ", ") + key;
  }
  const bool here = name.find('/') == std::string::npos;
  report(at,
         concat({shown(here ? inspection.plan.outerDirectory + "/" + name : name),
                 " is in effect, since it lies ",
                 here ? "in the working directory" : "in a folder of PATH", "; it supplies ",
                 taken.empty() ? "nothing" : taken,
                 ": if that is meant, say so in its first comment with # kvf: allow global-file"}));
}

void globalFileUnusable(const Inspection& inspection, const Report& report) {
  for (const Failure& failure : inspection.failures(Failure::Stage::globalFile)) {
    report.end(inspection.mainFile(),
               concat({"the launch ends with ", shown(failure.message), ", as ",
                       shown(inspection.run().globalFile),
                       " is there and cannot be opened: remove it, or make it readable"}),
               failure.message);
  }
}

void globalFileOptions(const Inspection& inspection, const Report& report) {
  constexpr const char* sensitive[] = {keys::javaLibrary,        keys::applicationLibrary,
                                       keys::extendedProperties, keys::classPathExtended,
                                       keys::classPath,          keys::javaPath,
                                       keys::adjusterClassPath,  keys::javaLibraryPath};
  for (const Definition& definition : inspection.run().definitions) {
    if (!definition.global) continue;
    const bool matters = std::any_of(std::begin(sensitive), std::end(sensitive),
                                     [&](const char* key) { return definition.key == key; });
    const bool taken = inspection.isFromGlobalFile(definition.key);
    if (definition.variable().empty() && (!matters || !taken)) continue;
    report(definition.at,
           concat({"the global file gives ", shown(definition.key),
                   " to every start that finds it: whoever can write it decides what is loaded; ",
                   "keep it where only an administrator can write"}));
  }
}

constexpr Rule rules[] = {
    {"start-directory", Severity::error, "a start directory that is missing or relative",
     "The launcher changes to application.start.dir and ignores a failure. --run enters a relative "
     "path twice.",
     "application.start.dir=data", "application.start.dir=/opt/acme/data", startDirectory},
    {"process-id-file", Severity::warning, "a process-ID file in a doubtful place",
     "The file is written before the working directory changes. A missing folder is told but ends "
     "nothing; in a folder that everyone may write to, others can prepare the file.",
     "processID.file.name=/tmp/app.pid", "processID.file.name=/run/acme/app.pid", processIdFile},
    {"environment-name", Severity::warning, "a variable's name that no shell takes",
     "The environment takes any name without \"=\"; a shell only letters, digits and _, and no "
     "digit in front.",
     "velox.env.my-var=1", "velox.env.MY_VAR=1", environmentName},
    {"path-hides-launcher", Severity::error, "a PATH on which the launcher is not found again",
     "A launch that exports variables starts itself again by the name it was started with, along "
     "the new PATH.",
     "velox.env.PATH=/usr/bin (with the launcher in /opt/acme/bin)",
     "velox.env.PATH=/usr/bin:%PATH%", pathHidesLauncher},
    {"adjuster-library", Severity::error, "an adjuster without java.library",
     "The adjuster is a Java class. Without java.library the run that should adjust starts the "
     "native application.",
     "velox.adjuster.class.path=adjuster.jar, and no java.library",
     "java.library=/usr/lib/jvm/default-java/lib/server/libjvm.so", adjusterLibrary},
    {"script-value", Severity::error, "a value that a generated script cannot carry",
     "The script puts words with a blank in double quotes and escapes nothing. The value of a "
     "variable is not quoted at all, and ends before its last \"=\". Checked when the command line "
     "generates a script, and with --script.",
     "application.args=$HOME", "--run or --cmdlineJava", scriptValue},
    {"global-file", Severity::warning, "a global.kvf that is in effect",
     "A global.kvf in the working directory, else the first one along PATH, supplies every key "
     "that the file leaves absent or empty.",
     "A global.kvf in the folder that the launcher is started from.",
     "Start from a folder without one; if it is meant: # kvf: allow global-file in its first line.",
     globalFile},
    {"global-file-unusable", Severity::error, "a global.kvf that cannot be opened",
     "When its name is there but the file is not readable, or a link that leads nowhere, the "
     "launch ends.",
     "global.kvf -> gone.kvf", "Remove the link.", globalFileUnusable},
    {"global-file-options", Severity::warning, "a global.kvf that adds options or libraries",
     "It can name the JVM, options, libraries and variables for every start that finds it.",
     "java.extended.properties=-javaagent:/tmp/x.jar in a global.kvf",
     "Keep it where only an administrator can write, and allow it with a comment.",
     globalFileOptions},
};

constexpr Rule comparisons[] = {
    {"shared-process-id-file", Severity::warning, "several files with one process-ID file",
     "The instance that starts last overwrites the ID of the others, and --kill ends that one. "
     "Checked among the files of one kvf check.",
     "processID.file.name=/run/acme.pid in a.kvf and in b.kvf", "A file of its own for each.",
     nullptr},
};

}  // namespace

std::span<const Rule> surroundingsRules() {
  return rules;
}

std::span<const Rule> comparisonRules() {
  return comparisons;
}
