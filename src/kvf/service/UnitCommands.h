#ifndef VELOX_KVF_SERVICE_UNITCOMMANDS_H
#define VELOX_KVF_SERVICE_UNITCOMMANDS_H

#include <string>
#include <vector>

#include "kvf/service/UnitSettings.h"

/// One command of an Exec...= setting.
struct ServiceCommand {
  std::string key;      ///< such as ExecStart
  std::string program;  ///< the file that is executed, or a name that systemd looks for
  std::vector<std::string> arguments;  ///< with the program's name
  std::vector<UnitPlace> places;       ///< of each argument
  bool ignoresFailure = false;
};

/// The commands of all Exec...= settings, with the variables of that environment. Adds notes.
std::vector<ServiceCommand> readCommands(const UnitSettings& unit, UnitVariables environment,
                                         std::vector<UnitNote>& notes);

#endif
