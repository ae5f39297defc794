#ifndef VELOX_KVF_TRACE_TRACEDLAUNCH_H
#define VELOX_KVF_TRACE_TRACEDLAUNCH_H

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "kvf/trace/StartTrace.h"

struct TraceRequest {
  std::string file;                    ///< the properties file
  std::vector<std::string> arguments;  ///< further ones of the launcher
  std::filesystem::path launcher;
  std::string until;               ///< the trace ends, and the application, once it prints this
  std::optional<unsigned> runFor;  ///< seconds
  unsigned pairs = 1;              ///< of starts to compare, with and without the log
};

struct TracedLaunch {
  std::optional<StartTrace> trace;
  std::string complaint;  ///< why there is none
  int status = 0;         ///< of the application; 0 when it was told to end
};

/// Starts the application, and passes on what it prints, with a log of its JVM in a temporary
/// folder. The starts that are compared with that come before it, and nothing of them is shown;
/// `progress` is called before each. Throws FileError and Interruption.
TracedLaunch traceLaunch(const TraceRequest& request,
                         const std::function<void(unsigned start, unsigned of)>& progress);

#endif
