#include <CLI/CLI.hpp>
#include <memory>

#include "kvf/commands/CheckTargets.h"
#include "kvf/commands/Output.h"
#include "kvf/commands/Subcommand.h"
#include "kvf/lsp/Server.h"
#include "kvf/service/UnitFiles.h"

namespace {

/// A unit is read from the disk, where its drop-ins are.
std::vector<Inspection> inspectOpened(const std::string& file, const GivenTexts& given) {
  return inspectTargets({file.ends_with(serviceSuffix) ? file : "-"}, file, given).inspections;
}

}  // namespace

RunSubcommand declareLsp(CLI::App& command) {
  // Some editors give it to every server.
  const auto stdio = std::make_shared<bool>(false);
  command.add_flag("--stdio", *stdio, "Use standard input and output; the default");
  return [stdio](const LauncherArguments& /*arguments*/) -> int {
    return Server(inspectOpened).run() ? success : negative;
  };
}
