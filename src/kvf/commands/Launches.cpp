#include "kvf/commands/Launches.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "kvf/commands/Program.h"
#include "kvf/launch/Inspector.h"
#include "kvf/text/Text.h"

namespace {

using Kind = StartedProgram::Kind;

Inspection inspectProgram(StartedProgram program, const GivenTexts& given,
                          const LaunchSurroundings* surroundings) {
  GivenTexts texts = given;
  texts.merge(program.files);
  Inspection inspection = inspectCommandLine(program.commandLine, texts, surroundings);
  inspection.programFile = program.file;
  inspection.scriptRefusal = std::move(program.refusal);
  if (program.kind == Kind::startScript) {
    for (const std::size_t typed : program.typed)
      inspection.argumentPlaces.push_back({.file = Position::commandLine, .line = typed});
  }
  return inspection;
}

std::vector<SourceFile> sourceFilesOf(const ServiceUnit& unit) {
  std::vector<SourceFile> files;
  for (const ServiceUnit::File& file : unit.files()) {
    SourceFile& source = files.emplace_back();
    source.name = file.name;
    source.setText(file.text);
  }
  return files;
}

/// "MemoryMax=512M (acme.service:12)".
std::string memorySourceOf(const ServiceUnit& unit) {
  for (const char* key : {"MemoryMax", "MemoryLimit"}) {
    const UnitSetting* setting = unit.last(key);
    if (setting == nullptr) continue;
    return concat({key, "=", setting->value, " (", unit.files()[setting->file].name, ":",
                   std::to_string(setting->lineOf()), ")"});
  }
  return {};
}

LaunchSurroundings surroundingsOf(const ServiceUnit& unit) {
  const ServiceSurroundings& service = unit.surroundings();
  LaunchSurroundings surroundings;
  surroundings.environment = service.environment;
  surroundings.directory = service.directory;
  surroundings.madeFolders = service.madeFolders;
  surroundings.stackLimit = service.stack.hard;
  surroundings.softStackLimit = service.stack.soft;
  // The unit gets control groups of its own; those of this process do not count.
  surroundings.memory = MemoryBound{machineMemory(), "this machine"};
  if (service.memory && *service.memory < surroundings.memory->bytes)
    surroundings.memory = MemoryBound{*service.memory, memorySourceOf(unit)};
  return surroundings;
}

constexpr std::string_view systemPath =
    "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";

/// Where a unit's argument is, by the launcher's argument that it becomes.
std::vector<Position> placesOf(const StartedProgram& program, const ServiceCommand& command) {
  std::vector<Position> places;
  for (const std::size_t typed : program.typed) {
    const std::size_t index = std::min(typed, command.places.size() - 1);
    places.push_back(Inspection::unitPosition(command.places[index]));
  }
  return places;
}

void refuseOtherRoot(const std::string& file, const ServiceUnit& unit) {
  for (const char* key : {"RootDirectory", "RootImage"}) {
    if (unit.last(key) == nullptr) continue;
    throw std::runtime_error(concat(
        {shown(file), " starts its commands in another root, by ", key, "=: check it there"}));
  }
}

}  // namespace

Inspection inspectTyped(const std::vector<std::string>& commandLine, const GivenTexts& given) {
  const LaunchSurroundings here = LaunchSurroundings::here();
  StartedProgram program =
      programOf(commandLine[0], commandLine, here.variable("PATH"), here.directory);
  if (program.kind == Kind::checker) program.description = "is kvf itself";
  if (!program.description.empty()) {
    throw std::runtime_error(concat({shown(commandLine[0]), " ", program.description,
                                     "; a command line of the launcher, or of a start script of "
                                     "kvf new, can be checked"}));
  }
  return inspectProgram(std::move(program), given, nullptr);
}

std::vector<Inspection> inspectUnit(const std::string& file, const GivenTexts& given) {
  const auto unit = std::make_shared<const ServiceUnit>(ServiceUnit::load(file));
  refuseOtherRoot(file, *unit);
  const LaunchSurroundings surroundings = surroundingsOf(*unit);
  std::vector<Inspection> inspections;
  std::string others;
  for (const ServiceCommand& command : unit->commands()) {
    StartedProgram program = programOf(command.program, command.arguments, std::string(systemPath),
                                       surroundings.directory);
    if (program.kind == Kind::other) {
      if (command.key == "ExecStart")
        others +=
            concat({others.empty() ? "" : ", ", shown(command.program), " ", program.description});
      continue;
    }
    if (program.kind == Kind::checker) continue;
    const std::vector<Position> places = placesOf(program, command);
    Inspection inspection = inspectProgram(std::move(program), given, &surroundings);
    inspection.argumentPlaces = places;
    inspection.unit = unit;
    inspection.unitKey = command.key;
    inspection.unitFiles = sourceFilesOf(*unit);
    inspections.push_back(std::move(inspection));
  }
  if (inspections.empty()) {
    // Commands that systemd refuses are not included.
    for (const UnitNote& note : unit->notes())
      if (note.weight == UnitNote::Weight::refusesUnit)
        throw std::runtime_error(concat({unit->files()[note.at.file].name, ":",
                                         std::to_string(note.at.line), ": ", note.text}));
    throw std::runtime_error(
        concat({shown(file), " does not start the launcher", others.empty() ? "" : ": ", others}));
  }
  std::stable_partition(inspections.begin(), inspections.end(), [](const Inspection& inspection) {
    return inspection.unitKey == "ExecStart";
  });
  return inspections;
}
