#include "kvf/launch/LaunchJvm.h"

#include <filesystem>
#include <system_error>

#include "foundation/PropertyKeys.h"
#include "kvf/process/ProgramPath.h"

namespace fs = std::filesystem;

std::string javaProgramOf(const Inspection& inspection) {
  const std::string& program = inspection.plan.javaCommand;
  if (program.find('/') == std::string::npos)
    return programAlongPath(program, inspection.plan.path, inspection.plan.directory);
  const std::string path = inspection.atApplication(program);
  return isProgram(path) ? path : std::string();
}

std::optional<Jvm> jvmOfLaunch(const Inspection& inspection) {
  if (!inspection.startsJvm()) return std::nullopt;
  if (inspection.runsInProcess())
    return jvmOfLibrary(inspection.atApplication(inspection.valueOf(keys::javaLibrary)));
  const std::string program = javaProgramOf(inspection);
  return program.empty() ? std::nullopt : jvmAround(program);
}

std::optional<Jvm> jvmAround(const std::string& path) {
  std::error_code error;
  const fs::path real = fs::weakly_canonical(path, error);
  for (fs::path folder = error ? fs::path(path) : real; folder.has_relative_path();
       folder = folder.parent_path()) {
    if (auto jvm = jvmAt(folder)) return jvm;
  }
  return std::nullopt;
}

std::map<std::string, std::string> environmentOfLaunch(const Inspection& inspection) {
  std::map<std::string, std::string> environment = inspection.plan.exported;
  environment.insert(inspection.surroundings.environment.begin(),
                     inspection.surroundings.environment.end());
  return environment;
}
