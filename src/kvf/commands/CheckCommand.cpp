#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <unistd.h>

#include "config/Switches.h"
#include "foundation/MemorySize.h"
#include "foundation/PropertyKeys.h"
#include "kvf/commands/CheckTargets.h"
#include "kvf/commands/FindingFormats.h"
#include "kvf/commands/Launches.h"
#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/jvm/OptionHistory.h"
#include "kvf/rules/Check.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

struct CheckOptions {
  std::vector<std::string> files;
  std::vector<std::string> disabled;
  std::string stdinName = "-";
  std::string format = "text";
  std::string severity = "warning";
  std::string colour = "auto";
  std::string memory;
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
  const auto memory = memorySize(options.memory);
  for (Inspection& inspection : inspections) {
    inspection.forScript = options.forScript;
    if (memory) inspection.surroundings.memory = MemoryBound{*memory, "--memory " + options.memory};
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
  const bool counts = std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) {
    return finding.severity() == Severity::error || options.severity == nameOf(Severity::warning);
  });
  return counts ? negative : success;
}

/// Why these options cannot be used; empty: they can.
std::string complaintAbout(const CheckOptions& options, const LauncherArguments& commandLine) {
  std::vector<std::string_view> ids;
  for (const Rule* known : allRules()) ids.emplace_back(known->id);
  for (const std::string& id : options.disabled) {
    if (findRule(id) == nullptr)
      return concat({"there is no rule ", shown(id), didYouMean(nearestName(id, ids))});
  }
  if (findFindingFormat(options.format) == nullptr)
    return "there is no format " + shown(options.format);
  if (!options.memory.empty() && !memorySize(options.memory))
    return shown(options.memory) + " is no size such as 512m";
  if (!commandLine.empty() && !options.files.empty())
    return "give either files or a command line, not both";
  if (commandLine.empty() && options.files.empty()) return "give a file, or -- and a command line";
  return {};
}

int runCheck(const CheckOptions& options, const LauncherArguments& commandLine) {
  const std::string complaint = complaintAbout(options, commandLine);
  if (!complaint.empty()) return complain(complaint);
  chooseColour(options.colour);
  if (commandLine.empty()) return report(inspectTargets(options.files, options.stdinName), options);
  std::vector<Inspection> inspections;
  inspections.push_back(inspectTyped(commandLine));
  return report(std::move(inspections), options);
}

}  // namespace

RunSubcommand declareCheck(CLI::App& command) {
  const auto options = std::make_shared<CheckOptions>();
  command.add_option("FILE", options->files,
                     "Properties files, folders, systemd units, - for standard input");
  command.add_option("--severity", options->severity, "What the status counts: error or warning")
      ->type_name("LEVEL")
      ->check(CLI::IsMember({"error", "warning"}));
  command.add_option("--stdin-name", options->stdinName, "The file that standard input stands for")
      ->type_name("FILE");
  command.add_option("--memory", options->memory, "The memory that the launch will have")
      ->type_name("SIZE");
  command.add_option("--color", options->colour, "auto, always or never")
      ->type_name("WHEN")
      ->check(CLI::IsMember({"auto", "always", "never"}));
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
