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
#include "kvf/commands/CdsCommand.h"
#include "kvf/commands/CheckCommand.h"
#include "kvf/commands/ExplainCommand.h"
#include "kvf/commands/JvmCommand.h"
#include "kvf/commands/KeysCommand.h"
#include "kvf/commands/NewCommand.h"
#include "kvf/commands/RulesCommand.h"
#include "kvf/launch/JvmTrial.h"
#include "kvf/text/Text.h"

namespace {

constexpr int couldNotWork = 2;

int complain(const char* text) {
  std::fprintf(stderr, "kvf: %s\n", printable(text).c_str());
  return couldNotWork;
}

int run(int argc, char** argv) {
  // What stands behind "--" is a command line of the launcher, with switches of its own.
  char** const dashes = std::find_if(
      argv, argv + argc, [](const char* argument) { return std::strcmp(argument, "--") == 0; });
  const std::vector<std::string> behindDashes(std::min(dashes + 1, argv + argc), argv + argc);

  CLI::App app("Tells what a properties file means before anything starts.", "kvf");
  app.set_version_flag("--version", std::string("kvf ") + wrapper_version);
  app.require_subcommand(1);
  int status = 0;
  addCheckCommand(app, behindDashes, status);
  addExplainCommand(app, behindDashes, status);
  addRulesCommand(app, status);
  addJvmCommand(app, status);
  addNewCommand(app, status);
  addCdsCommand(app, behindDashes, status);
  addKeysCommand(app);
  addTryJvmCommand(app, behindDashes, status);
  try {
    app.parse(static_cast<int>(dashes - argv), argv);
  } catch (const CLI::ParseError& error) {
    std::ostringstream complaint;
    const int exitStatus = app.exit(error, std::cout, complaint);
    std::istringstream lines(complaint.str());
    for (std::string line; std::getline(lines, line);) std::cerr << printable(line) << '\n';
    return exitStatus == 0 ? 0 : couldNotWork;
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
    if (status == couldNotWork || isOutputWritten()) return status;
    return complain("standard output cannot be written");
  } catch (const WException& exception) {
    return complain(exception.getDescription(false).c_str());
  } catch (const std::exception& exception) {
    return complain(exception.what());
  }
}
