#ifndef VELOX_KVF_LAUNCH_JVMTRIAL_H
#define VELOX_KVF_LAUNCH_JVMTRIAL_H

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

class Inspection;

/// What the configured JVM said when it was started with the options of a launch.
struct JvmTrial {
  std::vector<std::string> ignored;    ///< options that it does not know; --run ignores them
  std::optional<std::string> refusal;  ///< why it did not start with the others
};

/// Starts the JVM of java.library in a child, with the environment, directory and options of the
/// launch, and ends it at once; again for each option that it does not know. Nothing when the
/// launch has no such JVM.
std::optional<JvmTrial> tryJvm(const Inspection& inspection);

/// Adds the command that such a child runs, which is not in the help: behind "--" it takes the
/// library and the options.
void addTryJvmCommand(CLI::App& app, const std::vector<std::string>& behindDashes, int& status);

#endif
