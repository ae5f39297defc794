#ifndef VELOX_KVF_PROCESS_PROGRAMRUN_H
#define VELOX_KVF_PROCESS_PROGRAMRUN_H

#include <chrono>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "kvf/process/ProcessEnd.h"

/// A program to start and wait for.
struct ProgramRun {
  std::vector<std::string> arguments;
  std::string program = {};                             ///< empty: the first argument, along PATH
  std::map<std::string, std::string> environment = {};  ///< on top of this process's own
  bool hasOwnEnvironment = false;                       ///< without this process's own
  std::string directory = {};                           ///< empty: where this process is
  enum class Output {
    shown,    ///< on this process's own streams
    dropped,  ///< and with no input from this process
    taken,    ///< the same, and the beginning of it is in ProgramEnd::output
    passedOn  ///< byte for byte on this process's own streams, which sees when the first comes
  } output = Output::shown;
  /// Of what is passed on from standard error: the first `text` is replaced.
  struct Replacement {
    std::string text, by;
  } replacement = {};
  /// After this time it is asked to end, as by a service manager, and a minute later it is killed.
  std::optional<std::chrono::seconds> limit = std::nullopt;
  /// The same once it has printed this text; what it prints is shown on standard error, unless it
  /// is passed on. Empty: none.
  std::string until = {};
};

struct ProgramEnd : ProcessEnd {
  bool reached = false;  ///< it has printed the text that it was to print; `time` ends there
  std::string output = {};
  /// When this process saw the first that the program printed, and the stream of it: 1 or 2. Of
  /// what is taken or passed on.
  struct FirstOutput {
    std::chrono::steady_clock::time_point at;
    int stream;
  };
  std::optional<FirstOutput> firstOutput = std::nullopt;
};

/// Starts the program and waits for its end; what it has started ends with it. The keys of the
/// terminal, such as Ctrl-C, end the program and not this process. A signal that ends this process
/// ends the program first, within five seconds, and throws Interruption; SIGKILL ends the program,
/// too.
ProgramEnd runProgram(const ProgramRun& run);

#endif
