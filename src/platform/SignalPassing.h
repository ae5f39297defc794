#ifndef VELOX_PLATFORM_SIGNALPASSING_H
#define VELOX_PLATFORM_SIGNALPASSING_H

#include <array>
#include <csignal>
#include <cstddef>

#include <sys/types.h>

/// While a process waits for a child, signals to it are meant for the child: TERM, INT, HUP, QUIT,
/// USR1 and USR2 are passed on. Not so a signal of the terminal, which reaches the child by itself,
/// and one that the child sent. Ignored signals stay ignored.
///
/// Construct it before the fork; the signals are held back until either side says what it is.
/// REQUIRES: one at a time.
class SignalPassing {
 public:
  SignalPassing();
  SignalPassing(const SignalPassing&) = delete;
  SignalPassing& operator=(const SignalPassing&) = delete;
  ~SignalPassing() { end(); }

  /// In the parent: passes signals on, those of the meantime included.
  void begin(pid_t child);
  /// In the parent, REQUIRES that the child's ID is still its own: signals have their former
  /// actions again.
  void end();
  /// Without a child: signals come through as before.
  void release() const;
  /// In the child, before it executes a program: the same, but no handler runs any more, which
  /// would do so in the memory of the parent.
  void releaseChild() const;

  /// In the parent after end(), with the child's raw wait status: a signal that came and asks to
  /// end, or that ended the child, now acts on this process. Returns when there is none.
  static void takeReceived(int waitStatus);

 private:
  static constexpr std::array<int, 6> signals = {SIGTERM, SIGINT,  SIGHUP,
                                                 SIGQUIT, SIGUSR1, SIGUSR2};

  std::array<struct sigaction, signals.size()> formerActions_ = {};
  sigset_t formerMask_;
  bool passing_ = false;
};

#endif
