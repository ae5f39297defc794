#ifndef VELOX_KVF_PROCESS_PROCESSES_H
#define VELOX_KVF_PROCESS_PROCESSES_H

#include <optional>
#include <vector>

/// A process, as /proc shows it.
struct Process {
  int id = 0;
  int parent = 0;
  bool ended = false;              ///< its status has not been taken yet
  unsigned long long started = 0;  ///< differs between processes that had the same ID
};

/// Nothing when it does not exist, or this user may not see it.
std::optional<Process> processWith(int id);

/// All that this user may see.
std::vector<Process> processes();

/// The process and all its descendants, itself first.
std::vector<int> familyOf(int id, const std::vector<Process>& all);

/// True for a process that exists, whether this user may see it or not.
bool isRunning(int id);

#endif
