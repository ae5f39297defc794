#ifndef VELOX_KVF_SERVICE_UNITSURROUNDINGS_H
#define VELOX_KVF_SERVICE_UNITSURROUNDINGS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kvf/service/UnitSettings.h"
#include "kvf/service/UnitValues.h"

/// The surroundings in which systemd would start the commands of a unit.
struct ServiceSurroundings {
  UnitVariables environment;
  std::string directory;  ///< absolute
  bool directoryMayBeMissing = false;
  std::vector<std::string> madeFolders;  ///< that systemd makes at the start, absolute
  UnitLimit stack = {};
  std::optional<std::uint64_t> memory;  ///< bytes; absent: the unit sets no limit
};

/// Reads them from the settings, for a user's service manager or the system's, and adds notes.
ServiceSurroundings readSurroundings(const UnitSettings& unit, bool isUserUnit,
                                     std::vector<UnitNote>& notes);

#endif
