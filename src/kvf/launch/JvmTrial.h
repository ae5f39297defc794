#ifndef VELOX_KVF_LAUNCH_JVMTRIAL_H
#define VELOX_KVF_LAUNCH_JVMTRIAL_H

#include <map>
#include <string>
#include <vector>

/// What a JVM says about an option, or about several together.
struct JvmComplaint {
  enum class Kind {
    unknown,     ///< it does not know the option; --run ignores it
    refused,     ///< it does not start with it
    ignored,     ///< it starts, and says that the option has no effect
    deprecated,  ///< it starts, and says that the option will be removed
  };

  Kind kind = Kind::refused;
  std::string option;  ///< as the launch has it; empty: it is not about one of them
  std::string text;    ///< the JVM's own
};

/// What the configured JVM said when it was started with the options of a launch.
struct JvmTrial {
  std::vector<JvmComplaint> complaints;  ///< each option once, as found by trying without it
  std::string classFailure;              ///< why it cannot load the start class; empty: it can
  std::vector<std::string> leftOut;      ///< options and variables that it was tried without
};

/// A JVM to try, as the launch would start it.
struct JvmStart {
  std::string library;
  std::string startClass;  ///< empty: it is not loaded
  std::vector<std::string> options;
  std::map<std::string, std::string> environment;  ///< all of it
  std::string directory;
};

/// Starts the JVM in a child, again for each complaint, and ends it at once. A running application
/// is not touched: options that act outside of the JVM are left out, and logs go elsewhere. The
/// start class is loaded and linked, and not initialized, so that no code of the application runs.
JvmTrial tryJvm(const JvmStart& start);

#endif
