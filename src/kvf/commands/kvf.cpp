#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/WString.h"
#include "foundation/wrapper_vid.h"
#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/process/Interruption.h"
#include "kvf/text/Text.h"

namespace {

int run(int argc, char** argv) {
  // What stands after "--" is a command line of the launcher, with switches of its own.
  char** const dashes = std::find_if(
      argv, argv + argc, [](const char* argument) { return std::strcmp(argument, "--") == 0; });
  const LauncherArguments launcherArguments(std::min(dashes + 1, argv + argc), argv + argc);

  CLI::App app("Says what a properties file means before anything starts.", "kvf");
  app.set_version_flag("--version", std::string("kvf ") + wrapper_version);
  app.require_subcommand(1);
  int status = success;
  for (const Subcommand& subcommand : subcommands()) {
    CLI::App* command = app.add_subcommand(subcommand.name, subcommand.summary);
    command->footer(subcommand.footer);
    if (subcommand.hidden) command->group("");
    command->final_callback(
        [&, run = subcommand.declare(*command)] { status = run(launcherArguments); });
  }
  try {
    app.parse(static_cast<int>(dashes - argv), argv);
  } catch (const CLI::ParseError& error) {
    std::ostringstream complaint;
    const int exitStatus = app.exit(error, std::cout, complaint);
    std::istringstream lines(complaint.str());
    for (std::string line; std::getline(lines, line);) std::cerr << printable(line) << '\n';
    return exitStatus == 0 ? success : noAnswer;
  }
  return status;
}

bool isOutputWritten() {
  return std::cout.flush().good() && std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    const int status = run(argc, argv);
    // Where a command could not print, it has said so.
    if (status == noAnswer || isOutputWritten()) return status;
    return complain("standard output cannot be written");
  } catch (const Interruption& interruption) {
    complain(strsignal(interruption.signal));
    endBy(interruption);
  } catch (const WException& exception) {
    return complain(exception.getDescription(false).view());
  } catch (const std::exception& exception) {
    return complain(exception.what());
  }
}
