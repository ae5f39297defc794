#ifndef VELOX_KVF_PROCESS_INTERRUPTION_H
#define VELOX_KVF_PROCESS_INTERRUPTION_H

/// Thrown where work ends because of a signal; owners on the way undo what is half done.
struct Interruption {
  int signal;
};

/// While it lives, SIGHUP, SIGINT, SIGQUIT and SIGTERM end the work where it looks for them next,
/// instead of the process at once, and a pipe without a reader or a file-size limit is only an
/// error of the write. What was ignored stays ignored. One at a time; programs that are started
/// meanwhile inherit nothing of it.
class InterruptionWatch {
 public:
  InterruptionWatch();
  InterruptionWatch(const InterruptionWatch&) = delete;
  InterruptionWatch& operator=(const InterruptionWatch&) = delete;
  ~InterruptionWatch();

  /// Throws Interruption when such a signal has come. Long work calls it often.
  static void look();
  /// The signal that has come, or 0.
  static int pending();
};

/// While it lives, the keys of the terminal that send SIGINT and SIGQUIT do nothing to this
/// process: they are meant for the program that it runs. REQUIRES an InterruptionWatch.
class TerminalKeysPassBy {
 public:
  TerminalKeysPassBy();
  TerminalKeysPassBy(const TerminalKeysPassBy&) = delete;
  TerminalKeysPassBy& operator=(const TerminalKeysPassBy&) = delete;
  ~TerminalKeysPassBy();
};

/// Ends this process as the signal would have.
[[noreturn]] void endBy(Interruption interruption);

#endif
