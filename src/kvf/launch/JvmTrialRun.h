#ifndef VELOX_KVF_LAUNCH_JVMTRIALRUN_H
#define VELOX_KVF_LAUNCH_JVMTRIALRUN_H

#include <map>
#include <string>
#include <vector>

/// One start of a JVM in a child.

struct JvmRun {
  std::string library;
  std::string startClass;  ///< with dots or slashes; empty: none is loaded
  std::vector<std::string> options;
  std::map<std::string, std::string> environment;  ///< all of it
  std::string directory;
  unsigned maxSeconds = 30;
  bool endsInOrder =
      false;  ///< the JVM ends as after an application, and writes what it then writes
};

struct JvmRunEnd {
  bool started = false;
  bool timedOut = false;
  std::string text;          ///< what was printed, without the next one
  std::string classFailure;  ///< what loading the start class threw
};

JvmRunEnd runJvm(const JvmRun& run);

/// What the child does: creates a JVM of the library, the first argument, with the options that
/// follow the start class, the second one, and the seconds that it may take, with "+" in front if
/// the JVM is to end in order. The class is loaded and linked and not initialized, so that no code
/// of the application runs. Ends the process.
int runJvmTrial(const std::vector<std::string>& arguments);

#endif
