#ifndef VELOX_KVF_COMMANDS_PROGRAM_H
#define VELOX_KVF_COMMANDS_PROGRAM_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "kvf/launch/Surroundings.h"

/// What a command line starts.
struct StartedProgram {
  enum class Kind {
    launcher,
    startScript,  ///< as `kvf new` writes it, which starts the launcher
    checker,      ///< kvf itself
    other,
  };

  Kind kind = Kind::other;
  std::string file;         ///< the program's, where it was found
  std::string description;  ///< of another one: "is a script that kvf new did not write"
  std::vector<std::string> commandLine;  ///< the launcher's
  std::vector<std::size_t> typed;  ///< for each of its arguments, which typed one it comes from
  std::map<std::string, std::string> files;  ///< that a start script makes: their texts by name
  std::string refusal;                       ///< of a start script: why it would start nothing
};

/// Looks at the program that is executed with this command line, found along `path` where it has no
/// slash. A program that does not exist counts as the launcher if its name and arguments look like
/// it.
StartedProgram programOf(const std::string& executed, const std::vector<std::string>& commandLine,
                         const std::string& path, const std::string& directory);

#endif
