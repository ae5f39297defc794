#ifndef VELOX_PLATFORM_CHILDPROCESS_H
#define VELOX_PLATFORM_CHILDPROCESS_H

#include <csignal>
#include <functional>

#include <sys/types.h>

#include "logging/Logging.h"
#include "platform/SignalPassing.h"

/// A child of this process that executes another program, and the wait for it, without which a
/// zombie stays. REQUIRES: one ChildProcess at a time, and no other threads.
///
/// Until it executes or ends, the child works in this process's memory while this process stands
/// still, as with vfork(2): copying the memory would cost more than what the launcher does between
/// two children. The child may write messages; it must not leave anything changed.
///
/// Meanwhile SIGCHLD has its default action: where a parent left it ignored, the system would
/// discard the child's status. Signals to this process are passed on to the child, which starts
/// with the actions and the mask that this process has.
class ChildProcess {
 public:
  /// What the child does: it executes a program or fails.
  using Task = std::function<void(const ChildProcess&)>;

  /// Starts the child and returns once it has executed a program or ended, or if there is none
  /// (failed(), with errno set).
  explicit ChildProcess(const Task& task);
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;
  ~ChildProcess();

  [[nodiscard]] bool failed() const { return pid_ < 0; }

  /// In the child: replaces its image by argv[0], found along PATH; returns only on failure.
  void execute(char* const* argv) const;
  /// In the child: ends it with the message and status 255, without the exit handlers of a host
  /// program.
  [[noreturn]] static void fail(Logging::Pieces message);

  /// In the parent: waits for the child's end and returns the raw wait status. A status that
  /// cannot be had counts as exit code 255. The first process of a system or container takes the
  /// statuses of its other children that end meanwhile, which leaves no zombies.
  [[nodiscard]] int wait();

  /// In the parent after wait(): see SignalPassing::takeReceived.
  static void takeReceivedSignals(int waitStatus) { SignalPassing::takeReceived(waitStatus); }

  /// The exit code in a raw wait status; 0 for a child that a signal ended.
  static int exitCodeIn(int waitStatus);

 private:
  /// Waits until the child has ended. It stays a zombie: once its ID is free, another process could
  /// get a signal meant for it.
  void waitForEnd() const;

  struct sigaction formerAction_ = {};
  SignalPassing signals_;
  pid_t pid_ = -1;
};

#endif
