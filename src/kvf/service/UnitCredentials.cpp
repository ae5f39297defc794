#include "kvf/service/UnitCredentials.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <vector>

#include <fnmatch.h>

#include "kvf/service/EnvironmentFiles.h"
#include "kvf/service/UnitSpecifiers.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* credentialKeys[] = {"LoadCredential", "LoadCredentialEncrypted",
                                          "SetCredential", "SetCredentialEncrypted",
                                          "ImportCredential"};

/// "NAME:REST" of a setting.
struct NamedSetting {
  std::string name;
  std::string rest;  ///< may be empty
};

std::vector<NamedSetting> namedSettings(const UnitSettings& unit, std::string_view key) {
  std::vector<NamedSetting> found;
  std::vector<UnitNote> notes;
  for (const UnitSetting* setting : unit.all(key)) {
    const auto text = unit.expanded(setting->value, UnitSettings::placeOf(*setting),
                                    UnitNote::Weight::losesPart, notes);
    if (!text) continue;
    const std::size_t colon = std::min(text->find(':'), text->size());
    found.push_back({text->substr(0, colon), text->substr(std::min(colon + 1, text->size()))});
  }
  return found;
}

/// What a service manager keeps for services has names below its folders; it is not looked at.
const UnitCredential unknownCredential = {};

/// The file of LoadCredential=, or one of its folder, whose credentials are NAME_FILE.
std::optional<UnitCredential> loadedFrom(const NamedSetting& setting, const std::string& name) {
  std::string file = setting.rest;
  std::error_code error;
  if (setting.name != name) {
    if (!name.starts_with(setting.name + "_") || !fs::is_directory(file, error)) return {};
    file += "/" + name.substr(setting.name.size() + 1);
  }
  if (!file.starts_with('/')) return unknownCredential;
  if (!mayBeThere(file)) return std::nullopt;
  if (!mayBeRead(file)) return unknownCredential;
  return UnitCredential{environmentTextOf(file), true};
}

}  // namespace

bool hasCredentials(const UnitSettings& unit) {
  return std::any_of(std::begin(credentialKeys), std::end(credentialKeys),
                     [&](const char* key) { return unit.last(key) != nullptr; });
}

std::optional<UnitCredential> credentialOf(const UnitSettings& unit, const std::string& name) {
  // Of two of one name the file comes first, if it is there.
  for (const NamedSetting& setting : namedSettings(unit, "LoadCredential"))
    if (auto found = loadedFrom(setting, name)) return found;
  for (const NamedSetting& setting : namedSettings(unit, "SetCredential")) {
    if (setting.name != name) continue;
    const bool isPlain = setting.rest.find('\\') == std::string::npos;
    return isPlain ? UnitCredential{setting.rest, true} : unknownCredential;
  }
  for (const char* key : {"LoadCredentialEncrypted", "SetCredentialEncrypted"})
    for (const NamedSetting& setting : namedSettings(unit, key))
      if (setting.name == name) return unknownCredential;
  for (const NamedSetting& setting : namedSettings(unit, "ImportCredential"))
    if (::fnmatch(setting.name.c_str(), name.c_str(), 0) == 0) return unknownCredential;
  return std::nullopt;
}
