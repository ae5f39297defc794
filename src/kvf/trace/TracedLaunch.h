#ifndef VELOX_KVF_TRACE_TRACEDLAUNCH_H
#define VELOX_KVF_TRACE_TRACEDLAUNCH_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "kvf/launch/StartRequest.h"
#include "kvf/trace/StartTrace.h"

struct TraceRequest : StartRequest {
  std::vector<std::string> arguments;  ///< further ones of the launcher
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
