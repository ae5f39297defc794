#include "kvf/service/UnitSettings.h"

#include "kvf/service/UnitValues.h"
#include "kvf/text/Text.h"

std::vector<const UnitSetting*> UnitSettings::all(std::string_view key) const {
  std::vector<const UnitSetting*> found;
  for (const UnitSetting& setting : settings_) {
    if (setting.section != "Service" || setting.key != key) continue;
    if (setting.value.empty()) {
      found.clear();
    } else {
      found.push_back(&setting);
    }
  }
  return found;
}

const UnitSetting* UnitSettings::last(std::string_view key) const {
  const std::vector<const UnitSetting*> settings = all(key);
  return settings.empty() ? nullptr : settings.back();
}

std::string UnitSettings::value(std::string_view key) const {
  const UnitSetting* setting = last(key);
  return setting == nullptr ? "" : expandUnitSpecifiers(setting->value, specifiers_).text;
}

std::vector<std::string> UnitSettings::words(std::string_view key) const {
  std::vector<std::string> found;
  for (const UnitSetting* setting : all(key))
    for (const UnitWord& word : splitUnitWords(setting->value).words)
      found.push_back(expandUnitSpecifiers(word.text, specifiers_).text);
  return found;
}

bool UnitSettings::isOn(std::string_view key) const {
  return unitBoolean(value(key)).value_or(false);
}

std::string UnitSettings::specifier(char letter) const {
  const auto found = specifiers_.find(letter);
  return found == specifiers_.end() ? "" : found->second.value_or("");
}

std::optional<std::string> UnitSettings::expanded(std::string_view text, const UnitPlace& at,
                                                  UnitNote::Weight ofRefusal,
                                                  std::vector<UnitNote>& notes) const {
  ExpandedSpecifiers result = expandUnitSpecifiers(text, specifiers_);
  if (!result.refused.empty()) {
    notes.push_back({at,
                     concat({"systemd knows no %", result.refused.substr(0, 1),
                             " and refuses the setting: write %% for a percent sign"}),
                     ofRefusal});
    return std::nullopt;
  }
  if (!result.unknown.empty()) {
    notes.push_back({at,
                     concat({"%", result.unknown.substr(0, 1), " of ", shown(text),
                             " is not known here, so this is checked as it is"}),
                     UnitNote::Weight::mayBeMeant});
  }
  return std::move(result.text);
}
