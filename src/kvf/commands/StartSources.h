#ifndef VELOX_KVF_COMMANDS_STARTSOURCES_H
#define VELOX_KVF_COMMANDS_STARTSOURCES_H

#include <optional>
#include <string>

#include "kvf/commands/Subcommand.h"
#include "kvf/import/JavaStart.h"

/// The ways to say what java starts: `--pid NUMBER`, `--unit UNIT` and `-- java ...`.
struct StartSources {
  std::optional<int> process;
  std::string unit;

  void declare(CLI::App& command);
  /// How many of them are given.
  [[nodiscard]] int count(const LauncherArguments& commandLine) const;
  /// Throws ImportError and FileError. REQUIRES: one is given.
  [[nodiscard]] JavaStart start(const LauncherArguments& commandLine) const;
};

#endif
