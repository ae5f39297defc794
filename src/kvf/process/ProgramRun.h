#ifndef VELOX_KVF_PROCESS_PROGRAMRUN_H
#define VELOX_KVF_PROCESS_PROGRAMRUN_H

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// A program to start and wait for.
struct ProgramRun {
  std::vector<std::string> arguments;  ///< the first is the program, found along PATH
  std::map<std::string, std::string> environment = {};  ///< on top of this process's own
  std::string directory = {};                           ///< empty: where this process is
  bool silent = false;                                  ///< its output is thrown away
  /// After this time it is asked to end, as by a service manager, and a minute later it is killed.
  std::optional<std::chrono::seconds> limit = std::nullopt;
};

struct ProgramEnd {
  int error = 0;         ///< why it could not be started; an error number of the system
  int status = 0;        ///< exit status, or 128 and the number of the signal that ended it
  bool stopped = false;  ///< the limit was reached
  bool killed = false;   ///< it did not end by itself then
};

/// Starts the program and waits for its end. Meanwhile a Ctrl-C on the terminal ends the program
/// and not this process.
ProgramEnd runProgram(const ProgramRun& run);

#endif
