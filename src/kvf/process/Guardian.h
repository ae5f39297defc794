#ifndef VELOX_KVF_PROCESS_GUARDIAN_H
#define VELOX_KVF_PROCESS_GUARDIAN_H

#include <chrono>
#include <csignal>
#include <functional>
#include <optional>

#include <sys/types.h>

/// Between this process and a program that it runs there is another one, the guardian. What the
/// program starts becomes a child of the guardian when its own parent ends, and the guardian learns
/// of the end of this process, even by SIGKILL. So it can end everything.

/// What became of the program.
struct GuardianReport {
  int error;     ///< why it could not be started; an error number of the system
  int status;    ///< exit status, or 128 and the number of the signal that ended it
  bool stopped;  ///< it was asked to end: the limit was reached, or its work was done
  bool killed;   ///< it did not end by itself then
  pid_t process;
  std::chrono::steady_clock::time_point started;
  std::chrono::nanoseconds time;           ///< from the start to the end
  std::chrono::nanoseconds processorTime;  ///< of the program and the children it waited for
};

/// Tells the guardian that the program has done its work: it is asked to end, as at the limit.
constexpr int workIsDone = SIGUSR1;

/// What the guardian waits for. REQUIRES: they are blocked before it is forked.
sigset_t guardedSignals();

/// The guardian's work, in its own process: starts the program, waits for its end, and ends it
/// after the limit or when a signal asks for it; what the program has left running ends with it.
/// `start` returns an error number, or 0 and the program's ID. Throws nothing.
GuardianReport guard(const std::function<int(pid_t& program)>& start, pid_t parent,
                     std::optional<std::chrono::seconds> limit);

#endif
