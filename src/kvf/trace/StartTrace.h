#ifndef VELOX_KVF_TRACE_STARTTRACE_H
#define VELOX_KVF_TRACE_STARTTRACE_H

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "kvf/cds/StartMeasurement.h"
#include "kvf/trace/JvmLog.h"

/// Where the time of a start went, from the launcher's start until the application printed
/// something or ended. All times count from the launcher's start.

using TraceTime = std::chrono::nanoseconds;

struct TraceStretch {
  std::string name;
  TraceTime begin = {}, duration = {};
  long thread = 0;          ///< 0: of no thread of the JVM's that is known
  std::size_t classes = 0;  ///< that the thread loaded meanwhile, of an initialiser

  [[nodiscard]] TraceTime end() const { return begin + duration; }
};

/// Where a class comes from.
enum class ClassOrigin {
  ownArchive,      ///< the JVM's own archive
  staticArchive,   ///< one of the application's
  dynamicArchive,  ///< on top of another archive
  aotCache,
  jdkModules,
  jar,
  folder,
  generated,  ///< by the application or the JDK, at run time
  elsewhere
};
struct OriginWords {
  const char* title;
  const char* colour;  ///< as HTML has it
  bool isArchived;     ///< its classes are neither read nor verified
};
/// For each origin, in their order.
std::span<const OriginWords> originWords();

struct LoadedClass {
  std::string name;
  TraceTime time = {};
  long thread = 0;
  ClassOrigin origin = ClassOrigin::elsewhere;
  std::string file = {};  ///< that it was in, as far as the log tells: an archive, jar, folder, URL
};

/// Starts without the log beside those with it.
struct TraceCost {
  unsigned pairs = 0;
  double with = 0, without = 0;  ///< seconds to the same mark; medians
  Quartiles ratio = {};
  double processorWith = 0, processorWithout = 0;  ///< seconds, of the whole run; medians
};

struct StartTrace {
  std::string subject;  ///< the file and the Java
  std::string mark;     ///< what the trace ends with: "the first output, on standard output"
  TraceTime end = {};   ///< when that was
  long mainThread = 0;  ///< 0: unknown, as no class of the application was initialised
  std::vector<TraceStretch> phases;     ///< one after the other, from 0 to the end
  std::vector<TraceStretch> jvmPhases;  ///< of the JVM's creation; some lie within others
  std::vector<LoadedClass> classes;
  std::vector<TraceStretch> verifications;
  std::vector<TraceStretch> initializers;  ///< of the main thread, up to the next one's begin
  std::vector<TraceStretch> pauses;
  std::string complaint;  ///< the JVM's, about an archive
  std::vector<std::string> remarks;
  std::optional<TraceCost> cost;

  [[nodiscard]] TraceTime verificationTime() const;
  /// Numbers of classes by origin, and of one origin by file, the largest first.
  [[nodiscard]] std::map<ClassOrigin, std::size_t> origins() const;
  [[nodiscard]] std::vector<std::pair<std::string, std::size_t>> filesOf(ClassOrigin origin) const;
  /// The longest ones in the order of time.
  [[nodiscard]] std::vector<TraceStretch> longestInitializers(std::size_t most) const;
};

/// What is known of the run beside its log.
struct TracedRun {
  TraceTime started = {}, ended = {};  ///< on the log's clock; `ended` is the trace's end
  std::string startClass;              ///< with dots
  std::filesystem::path javaHome;
  std::string archive = {};  ///< that the launch names; empty: none
};

/// The trace without its words: subject, mark, remarks and cost.
StartTrace traceOf(const JvmLog& log, const TracedRun& run);

/// True when the log is of a JVM that began to run the class.
bool runs(const JvmLog& log, const std::string& startClass);

#endif
