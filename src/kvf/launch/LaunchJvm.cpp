#include "kvf/launch/LaunchJvm.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

#include "foundation/PropertyKeys.h"
#include "foundation/TextPieces.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

bool isProgram(const std::string& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         ::access(path.c_str(), X_OK) == 0;
}

}  // namespace

std::string javaProgramOf(const Inspection& inspection) {
  const std::string& program = inspection.plan.javaCommand;
  std::vector<std::string> places = {inspection.atApplication(program)};
  if (program.find('/') == std::string::npos) {
    places.clear();
    for (const std::string_view folder : pathElements(inspection.plan.path))
      places.push_back(inspection.atApplication(concat({folder, "/", program})));
  }
  const auto found = std::find_if(places.begin(), places.end(), isProgram);
  return found == places.end() ? std::string() : *found;
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
