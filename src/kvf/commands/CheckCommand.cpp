#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <unistd.h>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "kvf/commands/FindingFormats.h"
#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/jvm/OptionHistory.h"
#include "kvf/launch/Inspector.h"
#include "kvf/rules/Check.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

struct CheckOptions {
  std::vector<std::string> files;
  std::vector<std::string> disabled;
  std::string format = "text";
  bool json = false;
  bool forScript = false;
  bool withJvm = false;
  unsigned javaRelease = 0;
};

/// What the JVM says of the options; nothing when the launch has no JVM that could be asked.
std::optional<JvmTrial> trialOf(const Inspection& inspection) {
  const std::string library = inspection.valueOf(keys::javaLibrary);
  if (library.empty() || inspection.command() != switches::run) return std::nullopt;
  const std::string path = inspection.atApplication(library);
  if (::access(path.c_str(), R_OK) != 0) return std::nullopt;
  return tryJvm({.library = path,
                 .startClass = inspection.valueOf(keys::startClass),
                 .options = inspection.plan.options,
                 .environment = inspection.plan.exported,
                 .directory = inspection.plan.directory});
}

/// So that nobody takes what was not tried for sound.
void tellWhatIsLeftOut(const Inspection& inspection) {
  if (!inspection.jvmTrial || inspection.jvmTrial->leftOut.empty()) return;
  std::string list;
  for (const std::string& option : inspection.jvmTrial->leftOut) {
    list += (list.empty() ? "" : ", ") + shown(option);
  }
  std::fprintf(stderr, "kvf: %s: the JVM was tried without what acts outside of it: %s\n",
               printable(inspection.nameOf(inspection.mainFile())).c_str(), list.c_str());
}

int report(std::vector<Inspection> inspections, const CheckOptions& options) {
  for (Inspection& inspection : inspections) {
    inspection.forScript = options.forScript;
    inspection.javaRelease = options.javaRelease;
    if (!options.withJvm) continue;
    inspection.jvmTrial = trialOf(inspection);
    tellWhatIsLeftOut(inspection);
  }
  const std::vector<Finding> findings =
      check(inspections, {options.disabled.begin(), options.disabled.end()});
  const ExitStatus status =
      findFindingFormat(options.json ? "json" : options.format)->print(findings);
  if (status != success) return status;
  return findings.empty() ? success : negative;
}

int runCheck(const CheckOptions& options, const std::vector<std::string>& commandLine) {
  for (const std::string& id : options.disabled) {
    if (findRule(id) == nullptr) return complain("there is no rule " + shown(id));
  }
  if (findFindingFormat(options.format) == nullptr) {
    return complain("there is no format " + shown(options.format));
  }
  if (!commandLine.empty() && !options.files.empty()) {
    return complain("give either files or a command line, not both");
  }
  std::vector<Inspection> inspections;
  if (!commandLine.empty()) {
    inspections.push_back(inspectCommandLine(commandLine));
    return report(std::move(inspections), options);
  }
  if (options.files.empty()) return complain("give a file, or -- and a command line");
  std::set<std::filesystem::path> seen;
  for (const std::string& file : options.files) {
    if (::access(file.c_str(), R_OK) != 0) return complain(shown(file) + " cannot be read");
    std::error_code error;
    // A file that is named twice is no second instance.
    if (seen.insert(std::filesystem::canonical(file, error)).second || error) {
      inspections.push_back(inspectFile(file));
    }
  }
  return report(std::move(inspections), options);
}

}  // namespace

RunSubcommand declareCheck(CLI::App& command) {
  const auto options = std::make_shared<CheckOptions>();
  command.add_option("FILE", options->files, "Properties files");
  command.add_option("--format", options->format, "text or json")->type_name("FORMAT");
  command.add_flag("--json", options->json, "The same as --format json");
  command.add_flag("--script", options->forScript, "Also what a generated script cannot carry");
  command.add_flag("--jvm", options->withJvm, "Start the configured JVM with the options");
  command
      .add_option("--java", options->javaRelease, "Also what this release of Java would not take")
      ->type_name("N")
      ->check(CLI::Range(oldestRelease, newestRelease));
  command.add_option("--disable", options->disabled, "Disable a rule")
      ->type_name("RULE")
      ->allow_extra_args(false);
  return
      [options](const LauncherArguments& commandLine) { return runCheck(*options, commandLine); };
}
