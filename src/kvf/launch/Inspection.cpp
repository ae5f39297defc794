#include "kvf/launch/Inspection.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <iterator>

#include "config/Commands.h"
#include "config/Configuration.h"
#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "kvf/text/Text.h"

namespace {

std::string under(const std::string& directory, std::string_view path) {
  if (path.starts_with('/')) return std::string(path);
  return concat({directory, "/", path});
}

}  // namespace

std::vector<Failure> Inspection::failures(Failure::Stage stage) const {
  std::vector<Failure> found;
  std::copy_if(failures().begin(), failures().end(), std::back_inserter(found),
               [&](const Failure& failure) { return failure.stage == stage; });
  return found;
}

std::optional<std::string> Inspection::value(const char* key) const {
  WString found;
  if (!run().merged.get(key, found)) return std::nullopt;
  return toString(found);
}

const Entry* Inspection::entryOf(std::string_view key) const {
  const std::string name(key);
  if (run().line.options.contains(name.c_str())) return nullptr;
  const auto& last = isFromGlobalFile(name) ? run().lastInGlobal : run().lastInFiles;
  const auto found = last.find(name);
  return found == last.end() ? nullptr : &run().entries[found->second];
}

bool Inspection::isFromGlobalFile(const std::string& key) const {
  const auto taken = run().globalKeys.find(key);
  return taken != run().globalKeys.end() && taken->second;
}

bool Inspection::includes(const Position& including, const Position& included) const {
  if (including.file < 0 || included.file < 0) return false;
  std::optional<Position> at = fileOf(included).includedAt;
  while (at && at->file != including.file) at = fileOf(*at).includedAt;
  return at.has_value();
}

Position Inspection::placeOf(const Position& at) const {
  if (at.file != Position::commandLine || argumentPlaces.empty()) return at;
  return argumentPlaces[std::min(at.line, argumentPlaces.size() - 1)];
}

Position Inspection::unitPosition(const UnitPlace& at) {
  return {.file = Position::unit - static_cast<int>(at.file), .line = at.line};
}

const SourceFile& Inspection::fileOf(const Position& at) const {
  if (at.file <= Position::unit)
    return unitFiles[static_cast<std::size_t>(Position::unit - at.file)];
  return run().files[static_cast<std::size_t>(at.file)];
}

std::string Inspection::pathOf(const Position& at) const {
  const std::string& name = fileOf(at).name;
  // The file of a unit is relative to this directory, which its launch need not have.
  const std::filesystem::path path =
      at.file <= Position::unit ? std::filesystem::absolute(name).native() : atLauncher(name);
  return path.lexically_normal().native();
}

std::string_view Inspection::rawValueOf(const Entry& entry) const {
  const std::string_view text = fileOf(entry.at).text;
  return text.substr(entry.rawAt, entry.rawEnd - entry.rawAt);
}

Position Inspection::positionOf(std::string_view key) const {
  if (const Entry* entry = entryOf(key)) return entry->at;
  return mainFile();
}

Position Inspection::mainFile() const {
  return hasMainFile() ? Position{0, 0} : Position{Position::commandLine, 0};
}

bool Inspection::hasMainFile() const {
  return !run().files.empty() && !run().files[0].global;
}

bool Inspection::knowsAllKeys() const {
  return hasMainFile() && !run().incomplete && !hasUnknownTexts &&
         failures(Failure::Stage::include).empty() && failures(Failure::Stage::globalFile).empty();
}

bool Inspection::isJava() const {
  return hostsJvm(run().merged);
}

std::string Inspection::command() const {
  const auto& arguments = outer.arguments;
  if (std::none_of(arguments.begin(), arguments.end(), std::mem_fn(&Argument::isUnknownSwitch))) {
    return value(keys::command).value_or(switches::run);
  }
  const auto meant =
      std::find_if(arguments.rbegin(), arguments.rend(), [](const Argument& argument) {
        return argument.switchName != nullptr && findCommand(argument.switchName) != nullptr;
      });
  return meant == arguments.rend() ? switches::run : meant->switchName;
}

bool Inspection::runsInProcess() const {
  const std::string name = command();
  return name == switches::run || findCommand(name) == nullptr;
}

bool Inspection::startsJvm() const {
  return runsInProcess() ? isJava() : command() == switches::cmdlineJava;
}

bool Inspection::startsApplication() const {
  const std::string name = command();
  return runsInProcess() || name == switches::cmdlineJava || name == switches::generateScript;
}

std::string Inspection::atApplication(std::string_view path) const {
  return under(plan.directory, path);
}

std::string Inspection::atLauncher(std::string_view path) const {
  return under(plan.outerDirectory, path);
}

std::string Inspection::nameOf(const SourceFile& file) const {
  const std::string_view name = file.name;
  if (absoluteFolder.empty() || !name.starts_with(absoluteFolder + "/")) return file.name;
  const std::string_view rest = name.substr(absoluteFolder.size() + 1);
  return shownFolder.empty() ? std::string(rest) : concat({shownFolder, "/", rest});
}

std::string Inspection::nameOf(const Position& position) const {
  const Position at = placeOf(position);
  if (at.file == Position::commandLine) {
    return concat({"command line:", std::to_string(at.line)});
  }
  const SourceFile& file = fileOf(at);
  if (at.line == 0) return nameOf(file);
  return concat({nameOf(file), ":", std::to_string(at.line)});
}
