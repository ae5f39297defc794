#ifndef VELOX_KVF_COMMANDS_SUBCOMMAND_H
#define VELOX_KVF_COMMANDS_SUBCOMMAND_H

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace CLI {
class App;
}

/// What follows "--": arguments of the launcher, or a whole command line.
using LauncherArguments = std::vector<std::string>;

/// Does what a subcommand does, once its options are parsed; returns an ExitStatus.
using RunSubcommand = std::function<int(const LauncherArguments&)>;

struct Subcommand {
  const char* name;
  const char* summary;      ///< one line of kvf --help
  const char* footer = "";  ///< of the subcommand's help, below the options
  bool hidden = false;      ///< left out of kvf --help
  /// Gives the subcommand its options, and returns what runs it.
  RunSubcommand (*declare)(CLI::App& command);
};

/// Every subcommand, in the order of the help.
std::span<const Subcommand> subcommands();

// Each in a file of its own, such as CheckCommand.cpp.
RunSubcommand declareCheck(CLI::App& command);
RunSubcommand declareExplain(CLI::App& command);
RunSubcommand declareRules(CLI::App& command);
RunSubcommand declareJvm(CLI::App& command);
RunSubcommand declareImport(CLI::App& command);
RunSubcommand declareNew(CLI::App& command);
RunSubcommand declareCds(CLI::App& command);
RunSubcommand declareTrace(CLI::App& command);
RunSubcommand declareReady(CLI::App& command);
RunSubcommand declareKeys(CLI::App& command);
RunSubcommand declareLsp(CLI::App& command);

#endif
