#ifndef VELOX_KVF_PROCESS_GUARDIAN_H
#define VELOX_KVF_PROCESS_GUARDIAN_H

#include <chrono>
#include <csignal>
#include <functional>
#include <optional>

#include <sys/types.h>

#include "kvf/process/ProcessEnd.h"

/// Between this process and a program that it runs there is another one, the guardian. What the
/// program starts becomes a child of the guardian when its own parent ends, and the guardian learns
/// of the end of this process, even by SIGKILL. So it can end everything.

/// Tells the guardian that the program has done its work: it is asked to end, as at the limit.
constexpr int workIsDone = SIGUSR1;
/// Tells it to end the program soon. Unlike SIGTERM nobody ignores it.
constexpr int workIsCancelled = SIGUSR2;

/// What the guardian waits for: these two, the end of a child, and the signals that end a process,
/// unless they are ignored. REQUIRES: they are blocked before it is forked.
sigset_t guardedSignals();

/// The guardian's work, in its own process: starts the program, waits for its end, and ends it
/// after the limit or when a signal asks for it; what the program has left running ends with it.
/// `start` returns an error number, or 0 and the program's ID. Throws nothing.
ProcessEnd guard(const std::function<int(pid_t& program)>& start, pid_t parent,
                 std::optional<std::chrono::seconds> limit);

#endif
