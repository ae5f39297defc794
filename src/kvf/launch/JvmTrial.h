#ifndef VELOX_KVF_LAUNCH_JVMTRIAL_H
#define VELOX_KVF_LAUNCH_JVMTRIAL_H

#include <map>
#include <optional>
#include <string>
#include <vector>

/// What the configured JVM said when it was started with the options of a launch.
struct JvmTrial {
  std::vector<std::string> ignored;    ///< options that it does not know; --run ignores them
  std::optional<std::string> refusal;  ///< why it did not start with the others
};

/// A JVM to try, as the launch would start it.
struct JvmStart {
  std::string library;
  std::vector<std::string> options;
  std::map<std::string, std::string> environment;  ///< on top of this process's own
  std::string directory;
};

/// Starts the JVM in a child and ends it at once; again for each option that it does not know.
JvmTrial tryJvm(const JvmStart& start);

/// What such a child does: creates a JVM of the library, the first argument, with the options that
/// follow. Ends the process.
int runJvmTrial(const std::vector<std::string>& arguments);

#endif
