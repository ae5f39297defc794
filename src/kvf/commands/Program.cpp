#include "kvf/commands/Program.h"

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <string_view>

#include "config/Switches.h"
#include "kvf/package/ApplicationTexts.h"
#include "kvf/process/ProgramPath.h"
#include "kvf/text/FileText.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

using Kind = StartedProgram::Kind;

fs::path placeOf(const std::string& program, const std::string& path,
                 const std::string& directory) {
  if (program.find('/') != std::string::npos) return fs::path(directory) / program;
  return programAlongPath(program, path, directory);
}

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

/// True for a program with the launcher in it: the launcher itself, or a host program.
bool holdsLauncher(std::string_view binary) {
  return contains(binary, switches::innerProcess) || contains(binary, "libvelox_wrapper.so");
}

/// What only kvf itself has.
constexpr std::string_view checkerMark = "kvf: allow ";

/// For a program that does not exist or cannot be read.
bool looksLikeLauncher(const fs::path& program, const std::vector<std::string>& commandLine,
                       const std::string& directory) {
  const std::string name = program.filename();
  fs::path properties = fs::path(directory) / program;
  properties += ".kvf";
  std::error_code error;
  return name == "wrapper" || fs::exists(properties, error) ||
         std::find(commandLine.begin(), commandLine.end(), switches::propFile) != commandLine.end();
}

}  // namespace

StartedProgram programOf(const std::string& executed, const std::vector<std::string>& commandLine,
                         const std::string& path, const std::string& directory) {
  StartedProgram program;
  program.commandLine = commandLine;
  program.typed.resize(commandLine.size());
  std::iota(program.typed.begin(), program.typed.end(), std::size_t{0});

  std::error_code error;
  const fs::path file = placeOf(executed, path, directory);
  program.file = file;
  const std::string text = textOfFile(file);
  if (text.empty()) {
    if (fs::path(executed).filename() == "kvf") {
      program.kind = Kind::checker;
    } else if (looksLikeLauncher(executed, commandLine, directory)) {
      program.kind = Kind::launcher;
    } else {
      const bool isMissing = !fs::exists(file, error) && !error;
      program.description = isMissing ? "is not there" : "cannot be read";
    }
  } else if (text.starts_with("#!")) {
    if (auto launch = handedOver(text, fs::canonical(file, error), commandLine)) {
      program.kind = Kind::startScript;
      program.commandLine = std::move(launch->commandLine);
      program.typed = std::move(launch->typed);
      program.files = std::move(launch->files);
      program.refusal = std::move(launch->refusal);
    } else {
      program.description = contains(text, "exec \"$here/bin/wrapper\" --run --propFile")
                                ? "is a start script of kvf new that has been changed; check the "
                                  "command line of the launcher in its last line"
                                : "is a script that kvf new did not write";
    }
  } else if (contains(text, checkerMark)) {
    program.kind = Kind::checker;
  } else if (holdsLauncher(text)) {
    program.kind = Kind::launcher;
  } else {
    program.description = "is not the launcher but another program";
  }
  return program;
}
