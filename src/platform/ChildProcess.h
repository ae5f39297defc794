#ifndef VELOX_PLATFORM_CHILDPROCESS_H
#define VELOX_PLATFORM_CHILDPROCESS_H

#include <csignal>

#include <sys/types.h>

#include "logging/Logging.h"
#include "platform/SignalPassing.h"

/// A fork of this process that executes another program, and the wait for it, without which a
/// zombie stays. REQUIRES: one ChildProcess at a time, and no other threads. Standard streams are
/// flushed first, so that the child never prints the parent's buffered text again.
///
/// Meanwhile SIGCHLD has its default action: where a parent left it ignored, the system would
/// discard the child's status. Signals to this process are passed on to the child, which starts
/// with the actions and the mask that this process has.
class ChildProcess {
 public:
  /// Forks; both processes go on from here, unless it failed (with errno set).
  ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  [[nodiscard]] bool failed() const { return pid_ < 0; }
  [[nodiscard]] bool isChild() const { return pid_ == 0; }

  /// In the child: replaces its image by argv[0], found along PATH; returns only on failure.
  void execute(char* const* argv) const;
  /// In the child: ends it with the message and status 255, without the exit handlers of a host
  /// program.
  [[noreturn]] static void fail(Logging::Pieces message);

  /// In the parent: waits for the child's end and returns the raw wait status. A status that
  /// cannot be had counts as exit code 255.
  [[nodiscard]] int wait();

  /// In the parent after wait(): see SignalPassing::takeReceived.
  static void takeReceivedSignals(int waitStatus) { SignalPassing::takeReceived(waitStatus); }

  /// The exit code in a raw wait status; 0 for a child that a signal ended.
  static int exitCodeIn(int waitStatus);

 private:
  struct sigaction formerAction_ = {};
  SignalPassing signals_;
  pid_t pid_ = -1;
};

#endif
