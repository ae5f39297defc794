#ifndef VELOX_KVF_SERVICE_UNITSURROUNDINGS_H
#define VELOX_KVF_SERVICE_UNITSURROUNDINGS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "kvf/service/UnitSettings.h"
#include "kvf/service/UnitValues.h"

/// What systemd would start the commands of a unit in.
struct ServiceSurroundings {
  UnitVariables environment;
  std::string directory;  ///< absolute
  bool directoryMayBeMissing = false;
  std::vector<std::string> madeFolders;  ///< that systemd makes at the start, absolute
  UnitLimit stack = {};
  std::optional<std::uint64_t> memory;  ///< bytes; absent: the unit sets no limit
};

/// Reads them from the settings, of the user's own service manager or of the system's, and adds
/// what there is to say.
ServiceSurroundings readSurroundings(const UnitSettings& unit, bool isUserUnit,
                                     std::vector<UnitNote>& notes);

#endif
