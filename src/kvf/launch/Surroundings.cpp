#include "kvf/launch/Surroundings.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include <sys/resource.h>
#include <unistd.h>

#include "kvf/launch/MemoryBound.h"
#include "kvf/process/FileError.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

LaunchSurroundings LaunchSurroundings::here() {
  LaunchSurroundings surroundings;
  for (char** entry = ::environ; *entry != nullptr; ++entry) {
    const std::string_view text = *entry;
    const std::size_t equals = std::min(text.find('='), text.size());
    const std::string_view value = text.substr(std::min(equals + 1, text.size()));
    surroundings.environment.emplace(text.substr(0, equals), value);
  }
  std::error_code error;
  surroundings.directory = fs::current_path(error).string();
  // Whoever needs one that has been removed will notice.
  if (error && error != std::errc::no_such_file_or_directory)
    throw FileError("find", "the working directory", error.value());
  rlimit limit = {};
  if (::getrlimit(RLIMIT_STACK, &limit) == 0) {
    // RLIM_INFINITY is the largest number, too.
    surroundings.stackLimit = limit.rlim_max;
    surroundings.softStackLimit = limit.rlim_cur;
  }
  surroundings.memory = memoryBoundHere();
  return surroundings;
}

std::string LaunchSurroundings::variable(const std::string& name) const {
  const auto found = environment.find(name);
  return found == environment.end() ? "" : found->second;
}

bool LaunchSurroundings::hasFolder(const std::string& path) const {
  std::error_code error;
  if (fs::is_directory(path, error)) return true;
  const std::string wanted = fs::path(path + "/.").lexically_normal().string();
  return std::any_of(madeFolders.begin(), madeFolders.end(),
                     [&](const std::string& folder) { return (folder + "/").starts_with(wanted); });
}
