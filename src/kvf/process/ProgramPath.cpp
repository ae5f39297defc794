#include "kvf/process/ProgramPath.h"

#include <algorithm>
#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

bool isProgram(const std::string& path) {
  struct stat status = {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         ::access(path.c_str(), X_OK) == 0;
}

std::string programAlongPath(std::string_view name, std::string_view path,
                             const std::string& directory) {
  for (std::size_t at = 0; !path.empty() && at <= path.size();) {
    // Unlike a class path it is not split at a semicolon.
    const std::size_t end = std::min(path.find(':', at), path.size());
    std::string file = std::filesystem::path(directory) / path.substr(at, end - at) / name;
    if (isProgram(file)) return file;
    at = end + 1;
  }
  return {};
}
