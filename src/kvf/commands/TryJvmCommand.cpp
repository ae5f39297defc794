#include <CLI/CLI.hpp>

#include "kvf/commands/Subcommand.h"
#include "kvf/launch/JvmTrial.h"

RunSubcommand declareTryJvm(CLI::App& /*command*/) {
  return runJvmTrial;
}
