#include "kvf/service/ServiceUnit.h"

#include <filesystem>
#include <iterator>
#include <utility>

#include "kvf/process/FileReading.h"
#include "kvf/service/UnitFiles.h"
#include "kvf/service/UnitKeys.h"
#include "kvf/service/UnitSpecifiers.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

/// The instance that a template is checked as.
constexpr char standInInstance[] = "instance";

}  // namespace

ServiceUnit ServiceUnit::load(const std::string& file) {
  const std::string found = findUnitFile(file);
  if (found.empty()) throw std::runtime_error(concat({"there is no unit ", shown(file)}));
  ServiceUnit unit;
  unit.addFile(found);
  unit.nameIt(file);
  const UnitName name = UnitName::of(unit.name_);
  for (const std::string& dropIn : dropInsOf(found, name)) unit.addFile(dropIn);
  unit.specifiers_ = specifiersOf(name, found);
  unit.noteUnreadable();
  unit.surroundings_ = readSurroundings(unit, isUserUnit(found), unit.notes_);
  unit.commands_ = readCommands(unit, unit.surroundings_.environment, unit.notes_);
  return unit;
}

void ServiceUnit::addFile(const std::string& file) {
  std::string whole = readWhole(file);
  UnitText text = parseUnitText(whole, files_.size());
  for (UnitComplaint& complaint : text.complaints)
    notes_.push_back({{files_.size(), complaint.line}, std::move(complaint.text)});
  std::move(text.settings.begin(), text.settings.end(), std::back_inserter(settings_));
  files_.push_back({file, std::move(whole)});
}

void ServiceUnit::nameIt(const std::string& file) {
  const UnitName name = UnitName::of(fs::path(file).filename().native());
  name_ = name.whole;
  if (!name.hasAt || !name.instance.empty()) return;
  std::string instance = standInInstance;
  for (const UnitSetting& setting : settings_)
    if (setting.section == "Install" && setting.key == "DefaultInstance") instance = setting.value;
  name_ = name.prefix + "@" + instance + std::string(serviceSuffix);
}

void ServiceUnit::noteUnreadable() {
  std::string_view foreignSection;
  for (const UnitSetting& setting : settings_) {
    const UnitPlace at = placeOf(setting);
    const std::string& section = setting.section;
    if (section != "Unit" && section != "Service" && section != "Install") {
      if (section == foreignSection || section.starts_with("X-")) continue;
      foreignSection = section;
      notes_.push_back(
          {at,
           concat({"[", printable(section), "] is not a section of a service, and ",
                   "systemd ignores what it contains: write [Service], ", "[Unit] or [Install]"})});
    }
    if (section != "Service" || setting.value.empty()) continue;
    if (const std::string_view like = serviceKeyLike(setting.key); !like.empty()) {
      notes_.push_back({at,
                        concat({"systemd knows no ", printable(setting.key), "=", didYouMean(like),
                                " and ignores it"}),
                        UnitNote::Weight::mayBeMeant});
    } else if (const char* advice = adviceForValue(
                   setting.key, expandUnitSpecifiers(setting.value, specifiers_).text)) {
      notes_.push_back(
          {at, concat({setting.key, "=", printable(setting.value),
                       " is not what systemd expects, and it ignores the setting: ", advice})});
    }
  }
}
