#ifndef VELOX_KVF_TRACE_JVMLOG_H
#define VELOX_KVF_TRACE_JVMLOG_H

#include <chrono>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

/// What a JVM's unified log tells of a start, whichever release from 9 on wrote it. Times are those
/// of std::chrono::steady_clock, which is also the JVM's own.

struct LogEvent {
  enum class Kind {
    classLoaded,
    classInitialized,   ///< one without code for that
    initializerBegin,   ///< the log does not tell the end
    verificationBegin,  ///< of a class
    verificationEnd,
    phaseEnd,  ///< of the JVM's creation
    pauseEnd,  ///< of a collection
    archiveOpened,
    cacheOpened,  ///< of the AOT kind
  };

  Kind kind;
  std::chrono::nanoseconds time;
  long thread = 0;
  std::string name;                        ///< of the class with dots, the phase or the file
  std::string source = {};                 ///< of a class that was loaded, as the log has it
  std::chrono::nanoseconds duration = {};  ///< of a phase or a pause
  bool operator==(const LogEvent&) const = default;
};

struct JvmLog {
  std::chrono::nanoseconds begin = {};  ///< when the JVM's creation began
  std::vector<LogEvent> events;         ///< in the order of the log
  std::string complaint;  ///< what the JVM has to say against an archive; empty: nothing
};

/// The oldest Java that has this log.
inline constexpr unsigned firstReleaseWithLog = 9;

/// The option that writes such a log. "%p" in the file's name is the JVM's process. REQUIRES: the
/// path has no double quote.
std::string loggingOption(unsigned release, const std::filesystem::path& file);

/// Takes any text; what is not known is left out, as is a last line without its end. No event: this
/// is no such log.
JvmLog parseJvmLog(std::string_view text);

#endif
