#ifndef VELOX_KVF_SERVICE_UNITCREDENTIALS_H
#define VELOX_KVF_SERVICE_UNITCREDENTIALS_H

#include <optional>
#include <string>

#include "kvf/service/UnitSettings.h"

/// The credentials of a unit, which systemd puts as files into a folder at the start.

/// The variable that has the folder.
inline constexpr char credentialsVariable[] = "CREDENTIALS_DIRECTORY";

struct UnitCredential {
  std::string text;      ///< empty where it is not known
  bool isKnown = false;  ///< else it is encrypted, or this user may not read it
};

bool hasCredentials(const UnitSettings& unit);

/// The credential of that name; nothing when the unit has none, or its file is not there, where
/// systemd does not start the service. Throws FileError where the file cannot be read for another
/// reason than a missing right.
std::optional<UnitCredential> credentialOf(const UnitSettings& unit, const std::string& name);

#endif
