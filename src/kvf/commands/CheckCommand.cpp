#include "kvf/commands/CheckCommand.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include <unistd.h>

#include "kvf/commands/Report.h"
#include "kvf/launch/Assembler.h"
#include "kvf/rules/Findings.h"
#include "kvf/text/Text.h"

namespace {

constexpr int nothingFound = 0;
constexpr int somethingFound = 1;
constexpr int notChecked = 2;

struct CheckOptions {
  std::vector<std::string> files;
  std::vector<std::string> disabled;
  bool json = false;
  bool forScript = false;
  bool withJvm = false;
};

int complain(const std::string& text) {
  std::fprintf(stderr, "kvf: %s\n", text.c_str());
  return notChecked;
}

int print(const std::string& text) {
  const bool written = std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
  return written ? nothingFound : complain("standard output cannot be written");
}

int report(std::vector<Inspection> inspections, const CheckOptions& options) {
  const std::set<std::string> disabled(options.disabled.begin(), options.disabled.end());
  std::vector<Finding> findings;
  for (Inspection& inspection : inspections) {
    inspection.forScript = options.forScript;
    if (options.withJvm) inspection.jvmTrial = tryJvm(inspection);
    for (Finding& finding : check(inspection, disabled)) findings.push_back(std::move(finding));
  }
  for (Finding& finding : compare(inspections, disabled)) findings.push_back(std::move(finding));

  const int status = print(options.json ? dump(asJson(findings)) : asText(findings, wantsColour()));
  if (status != nothingFound) return status;
  return findings.empty() ? nothingFound : somethingFound;
}

int runCheck(const CheckOptions& options, const std::vector<std::string>& commandLine) {
  for (const std::string& id : options.disabled) {
    if (findRule(id) == nullptr) return complain("there is no rule " + shown(id));
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

void addCheckCommand(CLI::App& app, const std::vector<std::string>& behindDashes, int& status) {
  CLI::App* command = app.add_subcommand("check", "Tells what is wrong with files or a launch.");
  command->footer(
      "-- COMMAND LINE checks a whole launch as it would be typed.\n"
      "Exit status: 0 nothing found, 1 something found, 2 could not be checked.");
  const auto options = std::make_shared<CheckOptions>();
  command->add_option("FILE", options->files, "Properties files");
  command->add_flag("--json", options->json, "Print JSON");
  command->add_flag("--script", options->forScript, "Also what a generated script cannot carry");
  command->add_flag("--jvm", options->withJvm, "Start the configured JVM once with the options");
  command->add_option("--disable", options->disabled, "Leave a rule out")
      ->type_name("RULE")
      ->allow_extra_args(false);
  command->final_callback(
      [options, &behindDashes, &status] { status = runCheck(*options, behindDashes); });
}
