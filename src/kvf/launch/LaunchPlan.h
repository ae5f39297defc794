#ifndef VELOX_KVF_LAUNCH_LAUNCHPLAN_H
#define VELOX_KVF_LAUNCH_LAUNCHPLAN_H

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "kvf/launch/ClassPathScan.h"

/// The option that tells the application the launcher's process; a plan has PID for the number.
inline constexpr std::string_view processIdOption = "-Dapplication.processid=";

/// What the launch would use.
struct LaunchPlan {
  std::string directory;                        ///< the application's working directory, absolute
  std::string outerDirectory;                   ///< the launcher's own
  std::map<std::string, std::string> exported;  ///< by velox.env. entries
  std::string path;                             ///< PATH as the application sees it
  const char* classPathKey = nullptr;           ///< null: from CLASSPATH, or "."
  std::vector<ClassPathElement> classPath;
  std::vector<std::string> options;    ///< of the JVM in the launcher's process, in order
  std::vector<std::string> arguments;  ///< of the application
  std::string javaCommand;             ///< of --cmdlineJava
};

#endif
