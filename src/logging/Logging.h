#ifndef VELOX_LOGGING_LOGGING_H
#define VELOX_LOGGING_LOGGING_H

#include <cstdio>
#include <initializer_list>
#include <string_view>

#include "foundation/WMutex.h"

/// Guards the opening of the log file and the child-process flag.
extern WMutex g_loggingMutex;

/// The launcher's progress, diagnostics and fatal errors: one line a message on standard output,
/// and with debugging on the same line in the log file. Standard error is never written.
///
/// The overloads for pieces write them joined, without building the text first.
class Logging {
 public:
  using Pieces = std::initializer_list<std::string_view>;

  /// The exit status of a process that cannot go on.
  static constexpr int fatalStatus = 255;

  /// Switches debugging on for the rest of the process.
  static void EnableDebug() { s_DebugFlag = true; }
  /// Recorded only: no output depends on it.
  static void EnableSilent() { s_SilentFlag = true; }
  /// A log file that this process opens from now on is appended to instead of truncated.
  static void SetChildProcessFlag();

  /// The log file, opened on first use. Null without debugging and while it cannot be opened; then
  /// the next call tries again. A name that leads to anything but a regular file of this user's
  /// with one link is refused for good, untouched, and one line on standard output says why.
  static std::FILE* GetHandle();

  static void Debug(const char* message) { Debug(Pieces{message}); }
  static void Debug(Pieces pieces);
  static void Info(const char* message) { Info(Pieces{message}); }
  static void Info(Pieces pieces);
  /// Writes the message like Info and ends the process with fatalStatus.
  [[noreturn]] static void FatalError(const char* message) { FatalError(Pieces{message}); }
  [[noreturn]] static void FatalError(Pieces pieces);

  /// Flushes the log file, standard output and standard error; nothing without a log file.
  static void FlushFiles();
  /// Flushes and closes the log file; the next message opens it again. Interface only.
  static void CloseHandle();
  /// Does nothing on this platform. Interface only.
  static void PrintLastErrorInMessageBox() {}

  /// Takes the place of all output, for a program that only looks. A launch has none.
  class Sink {
   public:
    Sink() = default;
    Sink(const Sink&) = delete;
    Sink& operator=(const Sink&) = delete;
    virtual ~Sink() = default;

    virtual void message(Pieces pieces) = 0;
    /// Has to throw what the caller of the failing operation catches.
    [[noreturn]] virtual void fatal(Pieces pieces) = 0;
  };

  /// From now on messages go to the sink, and a fatal error does not end the process; null goes
  /// back. REQUIRES: the sink outlives its use.
  static void SetSink(Sink* sink) { s_sink = sink; }

 private:
  static std::FILE* m_hLogFile;
  static bool s_DebugFlag;
  static bool s_SilentFlag;
  static bool s_IsChildProcess;
  static bool s_LogRefused;
  static const char* const s_szLogFileName;
  static Sink* s_sink;
};

/// Prints formatted text on standard output only, never to the log. It is flushed, so that it
/// appears before what the application prints by itself.
[[gnu::format(printf, 1, 2)]] void printConsole(const char* format, ...);

#endif
