#ifndef VELOX_KVF_SERVICE_UNITSETTINGS_H
#define VELOX_KVF_SERVICE_UNITSETTINGS_H

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kvf/service/UnitNote.h"
#include "kvf/service/UnitText.h"
#include "kvf/service/UnitWords.h"

/// The settings of a unit and its drop-ins that count, with specifiers replaced.
class UnitSettings {
 public:
  /// The assignments of a key of [Service] that count: those after the last empty one.
  [[nodiscard]] std::vector<const UnitSetting*> all(std::string_view key) const;
  /// The last one; null when it is not set.
  [[nodiscard]] const UnitSetting* last(std::string_view key) const;
  /// Its value with specifiers replaced; empty when it is not set.
  [[nodiscard]] std::string value(std::string_view key) const;
  /// The words of all assignments, with specifiers replaced.
  [[nodiscard]] std::vector<std::string> words(std::string_view key) const;
  [[nodiscard]] bool isOn(std::string_view key) const;
  /// What the letter stands for; empty when that is not known here.
  [[nodiscard]] std::string specifier(char letter) const;

  /// The text with specifiers replaced; nothing when systemd refuses it. Adds notes.
  [[nodiscard]] std::optional<std::string> expanded(std::string_view text, const UnitPlace& at,
                                                    UnitNote::Weight ofRefusal,
                                                    std::vector<UnitNote>& notes) const;

  [[nodiscard]] static UnitPlace placeOf(const UnitSetting& setting, std::size_t offset = 0) {
    return {setting.file, setting.lineOf(offset)};
  }

 protected:
  UnitSettings() = default;
  std::vector<UnitSetting> settings_;
  UnitSpecifiers specifiers_;
};

#endif
