#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>

#include "kvf/commands/CdsOptions.h"
#include "kvf/commands/Output.h"
#include "kvf/commands/StartOptions.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/process/FileError.h"
#include "kvf/process/Interruption.h"

namespace fs = std::filesystem;

namespace {

/// Makes an archive. With --json the report is all that is on standard output.
int make(const CdsOptions& options, const LauncherArguments& command) {
  ArchiveReport report;
  if (!options.json) return makeArchive(options, command, report);
  int status = noAnswer;
  {
    const StandardOutputAside aside;
    status = makeArchive(options, command, report);
  }
  if (status == noAnswer) return noAnswer;
  const ExitStatus printed = printJson(asJson(report));
  return printed == success ? status : printed;
}

int runCds(const CdsOptions& options, const LauncherArguments& command) {
  if (options.refresh && !command.empty())
    return complain("--refresh runs what the archive was made with, and takes no command");
  const InterruptionWatch interruptions;
  try {
    return options.refresh ? refreshArchive(options) : make(options, command);
  } catch (const fs::filesystem_error& error) {
    throw FileError("use", error.path1(), error.code().value());
  }
}

}  // namespace

RunSubcommand declareCds(CLI::App& command) {
  const auto options = std::make_shared<CdsOptions>();
  options->pairs = 5;
  declareStart(command, *options, "Starts to measure of each variant; 0: none");
  command.add_option("--kind", options->kind, "auto, aot, static or dynamic")
      ->type_name("KIND")
      ->check(CLI::IsMember({"auto", "aot", "static", "dynamic"}));
  command.add_flag("--short", options->shortRuns, "Also try options that only help short commands");
  command.add_flag("--jar", options->jar,
                   "Make archives of the folders in the class path, and name what manifests name");
  command.add_flag("--write", options->write, "Add the line to the file");
  CLI::Option* json = command.add_flag("--json", options->json, "Print JSON");
  command
      .add_flag("--refresh", options->refresh, "Make the archive in use anew if it no longer fits")
      ->excludes(json);
  command.add_flag("--deep", options->deep,
                   "With --refresh: read the class path's files to find out");
  return [options](const LauncherArguments& commandLine) { return runCds(*options, commandLine); };
}
