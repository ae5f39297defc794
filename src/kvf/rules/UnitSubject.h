#ifndef VELOX_KVF_RULES_UNITSUBJECT_H
#define VELOX_KVF_RULES_UNITSUBJECT_H

#include <optional>
#include <string_view>

#include "kvf/launch/Inspection.h"
#include "kvf/rules/Rule.h"

/// A unit with the launch that it is about.
struct UnitSubject {
  const Inspection& launch;
  const ServiceUnit& unit;

  [[nodiscard]] bool hostsJvm() const { return launch.isJava() && launch.runsInProcess(); }
  [[nodiscard]] Position placeOf(const UnitSetting& setting) const {
    return Inspection::unitPosition(ServiceUnit::placeOf(setting));
  }
  /// The line of a key, or of the command where the key is not set.
  [[nodiscard]] Position placeOf(const char* key) const {
    const UnitSetting* setting = unit.last(key);
    return setting == nullptr ? launch.argumentPlaces.front() : placeOf(*setting);
  }
};

/// The unit of an inspection, for the launch that is the service; nothing for others.
inline std::optional<UnitSubject> unitSubjectOf(const Inspection& inspection) {
  if (!inspection.unit || inspection.unitKey != "ExecStart") return std::nullopt;
  return UnitSubject{inspection, *inspection.unit};
}

/// An example that is an acme.service with these lines.
constexpr Example exampleOfUnit(std::string_view lines, std::string_view properties = {}) {
  return {.lines = properties,
          .command = "kvf check acme.service",
          .files = {{.path = "acme.service", .content = lines, .kind = ExampleFile::Kind::unit}}};
}

#endif
