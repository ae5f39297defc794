#include "kvf/launch/MemoryBound.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <limits>
#include <string_view>

#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr std::uint64_t noLimit = std::numeric_limits<std::uint64_t>::max();

/// A number in a file of the kernel; "max", or no such file, means no limit.
std::uint64_t limitIn(const fs::path& file) {
  std::string text;
  std::ifstream(file) >> text;
  std::uint64_t bytes = noLimit;
  std::from_chars(text.data(), text.data() + text.size(), bytes);
  return bytes;
}

/// The least limit of a group and those above it.
std::uint64_t leastLimit(const fs::path& root, fs::path group, const char* file) {
  std::uint64_t least = limitIn(root / file);
  for (; group.has_relative_path(); group = group.parent_path())
    least = std::min(least, limitIn(root / group.relative_path() / file));
  return least;
}

std::uint64_t controlGroupLimit() {
  std::uint64_t least = noLimit;
  std::ifstream groups("/proc/self/cgroup");
  // HIERARCHY:CONTROLLERS:PATH
  for (std::string line; std::getline(groups, line);) {
    const std::size_t first = line.find(':');
    const std::size_t second = line.find(':', first + 1);
    if (second == std::string::npos) continue;
    const std::string controllers = line.substr(first + 1, second - first - 1);
    const fs::path group = line.substr(second + 1);
    if (controllers.empty()) {
      least = std::min(least, leastLimit("/sys/fs/cgroup", group, "memory.max"));
    } else if (("," + controllers + ",").find(",memory,") != std::string::npos) {
      least = std::min(least, leastLimit("/sys/fs/cgroup/memory", group, "memory.limit_in_bytes"));
    }
  }
  return least;
}

}  // namespace

std::uint64_t machineMemory() {
  return static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) *
         static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

MemoryBound memoryBoundHere() {
  const std::uint64_t machine = machineMemory();
  const std::uint64_t group = controlGroupLimit();
  if (group < machine) return {group, "this control group"};
  return {machine, "this machine"};
}
