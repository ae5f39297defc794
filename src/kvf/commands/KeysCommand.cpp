#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/rules/Keys.h"

namespace {

std::string listOfKeys() {
  std::string list;
  for (const std::string_view name : settableKeys()) list.append(name) += '\n';
  return list;
}

}  // namespace

RunSubcommand declareKeys(CLI::App& command) {
  const auto asScdoc = std::make_shared<bool>(false);
  command.add_flag("--scd", *asScdoc, "Print the table for a manual page");
  return [asScdoc](const LauncherArguments& /*arguments*/) {
    return print(*asScdoc ? keysAsScdoc() : listOfKeys());
  };
}
