#include <CLI/CLI.hpp>
#include <filesystem>
#include <iterator>
#include <memory>
#include <system_error>

#include "kvf/commands/CdsOptions.h"
#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/process/FileError.h"
#include "kvf/process/Interruption.h"

namespace fs = std::filesystem;

namespace {

int runCds(const CdsOptions& options, const LauncherArguments& command) {
  if (options.refresh && !command.empty())
    return complain("--refresh runs what the archive was made with, and takes no command");
  const InterruptionWatch interruptions;
  try {
    return options.refresh ? refreshArchive(options) : makeArchive(options, command);
  } catch (const fs::filesystem_error& error) {
    throw FileError("use", error.path1(), error.code().value());
  }
}

}  // namespace

RunSubcommand declareCds(CLI::App& command) {
  const auto options = std::make_shared<CdsOptions>();
  std::error_code error;
  options->launcher = fs::read_symlink("/proc/self/exe", error).parent_path() / "wrapper";
  command.add_option("FILE", options->file, "The properties file")
      ->required()
      ->check(CLI::ExistingFile);
  command.add_option("--kind", options->kind, "auto, aot, static or dynamic")
      ->type_name("KIND")
      ->check(CLI::IsMember({"auto", "aot", "static", "dynamic"}));
  command.add_option("--run-for", options->runFor, "End the application after this time")
      ->type_name("SECONDS");
  command.add_option("--until", options->until, "End the application once it prints this")
      ->type_name("OUTPUT");
  command.add_option("--pairs", options->pairs, "Starts to measure of each variant; 0: none")
      ->type_name("N")
      ->check(CLI::Range(0U, 1000U));
  command.add_flag("--short", options->shortRuns, "Also try options that only help short commands");
  command.add_flag("--jar", options->jar, "Make archives of the folders in the class path");
  command.add_flag("--write", options->write, "Add the line to the file");
  command.add_flag("--refresh", options->refresh,
                   "Make the archive in use anew if it no longer fits");
  command.add_flag("--deep", options->deep,
                   "With --refresh: read the class path's files to find out");
  command.add_option("--wrapper", options->launcher, "The launcher")->type_name("FILE");
  return [options](const LauncherArguments& commandLine) { return runCds(*options, commandLine); };
}
