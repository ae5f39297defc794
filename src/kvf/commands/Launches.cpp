#include "kvf/commands/Launches.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "foundation/PropertyKeys.h"
#include "foundation/TextPieces.h"
#include "kvf/commands/Program.h"
#include "kvf/launch/Inspector.h"
#include "kvf/service/UnitCredentials.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

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

/// What follows mkdir or install in a command, also in a line for a shell, and may be a folder.
std::vector<std::string> foldersMadeBy(const ServiceCommand& command) {
  std::vector<std::string> folders;
  bool makes = false;
  for (const std::string& argument : command.arguments) {
    for (const std::string_view word : piecesOf(argument, " \t\n;&|\"'")) {
      const std::string_view name = afterLast(word, '/');
      if (makes && word.starts_with('/')) folders.emplace_back(word);
      makes = makes || name == "mkdir" || name == "install";
    }
  }
  return folders;
}

LaunchSurroundings surroundingsOf(const ServiceUnit& unit) {
  const ServiceSurroundings& service = unit.surroundings();
  LaunchSurroundings surroundings;
  surroundings.environment = service.environment;
  surroundings.directory = service.directory;
  surroundings.madeFolders = service.madeFolders;
  for (const ServiceCommand& command : unit.commands()) {
    if (command.key != "ExecStartPre") continue;
    for (std::string& folder : foldersMadeBy(command))
      surroundings.madeFolders.push_back(std::move(folder));
  }
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

/// The files of includes that the launch could not open.
std::vector<fs::path> missingIncludes(const Inspection& inspection) {
  // The launcher's message ends with the name.
  constexpr std::string_view mark = " : ";
  std::vector<fs::path> missing;
  for (const Failure& failure : inspection.failures(Failure::Stage::include)) {
    const std::size_t at = failure.message.find(mark);
    if (failure.why == FileFailure::notOpened && at != std::string::npos)
      missing.emplace_back(failure.message.substr(at + mark.size()));
  }
  return missing;
}

bool isBelow(std::string_view path, std::string_view folder) {
  return path.starts_with(folder) && (path.size() == folder.size() || path[folder.size()] == '/');
}

/// True when the launch reads something below the folder, apart from what the application does.
bool uses(const Inspection& inspection, std::string_view folder) {
  constexpr const char* read[] = {keys::javaLibrary,       keys::javaPath,
                                  keys::classPath,         keys::classPathExtended,
                                  keys::javaLibraryPath,   keys::applicationLibrary,
                                  keys::adjusterClassPath, keys::processIdFile};
  const auto isThere = [&](const std::string& text) {
    const std::vector<std::string_view> pieces = piecesOf(text, "=:;,");
    return std::any_of(pieces.begin(), pieces.end(),
                       [&](std::string_view piece) { return isBelow(piece, folder); });
  };
  const auto& options = inspection.plan.options;
  const auto& files = inspection.run().files;
  const std::vector<fs::path> missing = missingIncludes(inspection);
  return isThere(inspection.programFile) || isThere(toString(inspection.outer.location.fullPath)) ||
         isThere(inspection.plan.outerDirectory) || isThere(inspection.plan.directory) ||
         std::any_of(std::begin(read), std::end(read),
                     [&](const char* key) { return isThere(inspection.valueOf(key)); }) ||
         std::any_of(files.begin(), files.end(),
                     [&](const SourceFile& file) { return isThere(file.name); }) ||
         std::any_of(missing.begin(), missing.end(), isThere) ||
         std::any_of(options.begin(), options.end(), [&](const std::string& option) {
           return !option.starts_with("-D") && isThere(option);
         });
}

/// The files of the folders that a unit puts into the place of others are not looked for.
void refuseOtherFiles(const std::string& file, const ServiceUnit& unit,
                      const Inspection& inspection) {
  for (const char* key : {"BindPaths", "BindReadOnlyPaths"}) {
    for (const std::string& word : unit.words(key)) {
      const std::vector<std::string_view> parts = piecesOf(word, ":");
      if (parts.size() < 2) continue;
      const std::string_view source = parts[0].substr(parts[0].starts_with('-') ? 1 : 0);
      const std::string_view target = withoutTrailingSlash(parts[1]);
      if (source == target || !uses(inspection, target)) continue;
      throw std::runtime_error(concat({shown(file), " starts its commands with other files at ",
                                       shown(target), ", by ", key, "=: check it there"}));
    }
  }
}

/// The launch of a program of the unit, with the credentials that will be files when it starts.
Inspection inspectService(const StartedProgram& program, const GivenTexts& given,
                          const LaunchSurroundings& surroundings, const ServiceUnit& unit) {
  const fs::path folder = surroundings.variable(credentialsVariable);
  GivenTexts texts = given;
  bool hasUnknownTexts = false;
  for (;;) {
    Inspection inspection = inspectProgram(program, texts, &surroundings);
    inspection.hasUnknownTexts = hasUnknownTexts;
    const std::size_t before = texts.size();
    for (const fs::path& file : missingIncludes(inspection)) {
      if (folder.empty() || file.parent_path() != folder) continue;
      const std::optional<UnitCredential> credential = credentialOf(unit, file.filename());
      if (!credential || !texts.emplace(file, credential->text).second) continue;
      hasUnknownTexts = hasUnknownTexts || !credential->isKnown;
    }
    if (texts.size() == before) return inspection;
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
    Inspection inspection = inspectService(program, given, surroundings, *unit);
    refuseOtherFiles(file, *unit, inspection);
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
