#ifndef VELOX_KVF_SERVICE_UNITFILES_H
#define VELOX_KVF_SERVICE_UNITFILES_H

#include <string>
#include <string_view>
#include <vector>

/// "acme-a@one.service" in its parts.
struct UnitName {
  std::string whole;
  std::string prefix;    ///< "acme-a"
  std::string instance;  ///< "one"
  bool hasAt = false;

  static UnitName of(std::string_view whole);
  /// "acme-a@.service"; of one without an "@" itself.
  [[nodiscard]] std::string templateName() const;
};

inline constexpr std::string_view serviceSuffix = ".service";

/// The searches throw FileError where something cannot be looked at.

/// Where the unit of that name is: the file itself, or its template's, there or, for a name without
/// a folder, where systemd looks. Empty: nowhere.
std::string findUnitFile(const std::string& file);

/// The drop-ins of a unit in the order in which systemd reads them: those beside the file, and for
/// one in a folder where systemd looks, in all of these.
std::vector<std::string> dropInsOf(const std::string& unitFile, const UnitName& name);

/// True for a unit of a user's own service manager.
bool isUserUnit(const std::string& unitFile);

#endif
