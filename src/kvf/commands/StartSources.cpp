#include "kvf/commands/StartSources.h"

#include <CLI/CLI.hpp>

void StartSources::declare(CLI::App& command) {
  command.add_option("--pid", process, "A process that runs java")->type_name("NUMBER");
  command.add_option("--unit", unit, "A systemd unit that starts java")->type_name("UNIT");
}

int StartSources::count(const LauncherArguments& commandLine) const {
  return (process ? 1 : 0) + (unit.empty() ? 0 : 1) + (commandLine.empty() ? 0 : 1);
}

JavaStart StartSources::start(const LauncherArguments& commandLine) const {
  if (process) return startOfProcess(*process);
  return unit.empty() ? typedStart(commandLine) : startOfUnit(unit);
}
