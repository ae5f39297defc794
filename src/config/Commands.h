#ifndef VELOX_CONFIG_COMMANDS_H
#define VELOX_CONFIG_COMMANDS_H

#include <cstddef>
#include <iterator>
#include <string_view>

#include <strings.h>

#include "config/Switches.h"
#include "foundation/Properties.h"
#include "foundation/PropertyKeys.h"

/// What a run does. The numbers are shared with the Windows launcher.
enum class WrapperState : unsigned {
  install = 0,
  uninstall = 1,
  update = 2,
  start = 3,
  stop = 4,
  restart = 5,
  query = 6,
  ntservice = 7,
  run = 8,
  generateScript = 9,
  cmdlineJava = 10,
  version = 11,
  help = 12,
  startSync = 13,
  legacyScript = 14,
  kill = 15,
  cleanInstall = 16
};

inline constexpr std::size_t wrapperStateCount = 17;

/// What a missing properties file means to a command.
enum class MissingFile { isFatal, isTolerated, isToleratedForNamedService };

/// A command: how it is chosen and what holds for it, whatever carries it out.
struct Command {
  const char* name;  ///< the switch, and the value of wrapper.command
  WrapperState state;
  const char* valueKey = nullptr;  ///< the property that receives the argument after the switch
  bool isAdjustable = false;       ///< an adjuster may rewrite the properties file first
  MissingFile missingFile = MissingFile::isFatal;
  bool isForWindows = false;  ///< only announced here
};

/// Every command, in the order in which a value of wrapper.command is compared.
inline constexpr Command commands[] = {
    {.name = switches::install,
     .state = WrapperState::install,
     .isAdjustable = true,
     .isForWindows = true},
    {.name = switches::cleanInstall, .state = WrapperState::cleanInstall},
    {.name = switches::uninstall,
     .state = WrapperState::uninstall,
     .missingFile = MissingFile::isToleratedForNamedService,
     .isForWindows = true},
    {.name = switches::update,
     .state = WrapperState::update,
     .isAdjustable = true,
     .isForWindows = true},
    {.name = switches::start,
     .state = WrapperState::start,
     .isAdjustable = true,
     .isForWindows = true},
    {.name = switches::startSync, .state = WrapperState::startSync, .isForWindows = true},
    {.name = switches::stop, .state = WrapperState::stop, .isForWindows = true},
    {.name = switches::run, .state = WrapperState::run, .isAdjustable = true},
    {.name = switches::generateScript,
     .state = WrapperState::generateScript,
     .valueKey = keys::scriptArgument},
    {.name = switches::cmdlineJava, .state = WrapperState::cmdlineJava},
    {.name = switches::restart, .state = WrapperState::restart, .isForWindows = true},
    {.name = switches::query, .state = WrapperState::query, .isForWindows = true},
    {.name = switches::ntservice,
     .state = WrapperState::ntservice,
     .valueKey = keys::serviceName,
     .isAdjustable = true,
     .isForWindows = true},
    {.name = switches::version,
     .state = WrapperState::version,
     .missingFile = MissingFile::isTolerated},
    {.name = switches::help, .state = WrapperState::help, .missingFile = MissingFile::isTolerated},
    // Never found by its name: the newer generator above has the same.
    {.name = switches::generateScript, .state = WrapperState::legacyScript},
    {.name = switches::kill, .state = WrapperState::kill, .valueKey = keys::signal},
};

/// The command of that name, or null.
constexpr const Command* findCommand(std::string_view name) {
  for (const Command& command : commands) {
    if (name == command.name) return &command;
  }
  return nullptr;
}

/// The row of a state.
constexpr const Command& commandOf(WrapperState state) {
  const Command* row = std::begin(commands);
  while (row->state != state) ++row;
  return *row;
}

/// The command that wrapper.command chooses: to run without one, the usage for one that does not
/// exist.
inline const Command& commandIn(const Properties& properties) {
  WString name;
  if (!properties.get(keys::command, name)) return commandOf(WrapperState::run);
  const Command* command = findCommand(name.view());
  return command == nullptr ? commandOf(WrapperState::help) : *command;
}

/// A kind of --kill.
struct KillType {
  const char* name;  ///< in any case of letters
  bool isAbrupt;     ///< SIGKILL, else SIGINT
};

inline constexpr KillType killTypes[] = {{"Abort", true}, {"normal", false}};

/// The kind of that name, or null.
inline const KillType* findKillType(const char* name) {
  for (const KillType& type : killTypes) {
    if (::strcasecmp(name, type.name) == 0) return &type;
  }
  return nullptr;
}

static_assert(
    [] {
      for (std::size_t state = 0; state < wrapperStateCount; ++state) {
        std::size_t rows = 0;
        for (const Command& command : commands) {
          if (command.state == static_cast<WrapperState>(state)) ++rows;
        }
        if (rows != 1) return false;
      }
      return std::size(commands) == wrapperStateCount;
    }(),
    "every state has exactly one row");

#endif
