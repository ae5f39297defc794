#ifndef VELOX_KVF_RULES_UNITSUBJECT_H
#define VELOX_KVF_RULES_UNITSUBJECT_H

#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "kvf/launch/Inspection.h"
#include "kvf/rules/Rule.h"

/// A unit with the launch that it is about.
struct UnitSubject {
  const Inspection& launch;
  const ServiceUnit& unit;

  [[nodiscard]] bool hostsJvm() const { return launch.isJava() && launch.runsInProcess(); }
  /// "simple" when it is not set.
  [[nodiscard]] std::string type() const;
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
std::optional<UnitSubject> unitSubjectOf(const Inspection& inspection);

/// A setting that is wrong for a launch, and why: "KEY=VALUE" and the text are a sentence.
struct SettingRow {
  const char* key;
  bool (*isWrong)(const UnitSubject& subject, const UnitSetting& setting);
  const char* text;
};

/// Reports the settings that are wrong, each as fatal or not.
void reportRows(std::span<const SettingRow> rows, const UnitSubject& subject, bool fatal,
                Report& report);

/// An example that is an acme.service with these lines.
constexpr Example exampleOfUnit(std::string_view lines, std::string_view properties = {}) {
  return {.lines = properties,
          .command = "kvf check acme.service",
          .files = {{.path = "acme.service", .content = lines, .kind = ExampleFile::Kind::unit}}};
}

#endif
