#ifndef VELOX_KVF_LAUNCH_SURROUNDINGS_H
#define VELOX_KVF_LAUNCH_SURROUNDINGS_H

#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "kvf/launch/MemoryBound.h"

/// What a launch finds when it starts, before it reads anything: as in this process, or in a
/// service.
struct LaunchSurroundings {
  static constexpr std::uint64_t unlimited = std::numeric_limits<std::uint64_t>::max();

  std::map<std::string, std::string> environment;
  std::string directory;                 ///< absolute
  std::vector<std::string> madeFolders;  ///< that will be there at the start, absolute
  std::uint64_t stackLimit = unlimited;  ///< the hard one, in bytes
  std::uint64_t softStackLimit = unlimited;
  std::optional<MemoryBound> memory;  ///< nothing: unknown

  /// Those of this process: its environment, directory and limits, and the memory of its control
  /// group or the machine.
  static LaunchSurroundings here();

  /// The variable's value, or an empty text.
  [[nodiscard]] std::string variable(const std::string& name) const;
  /// True for a folder that exists, or will.
  [[nodiscard]] bool hasFolder(const std::string& path) const;
};

#endif
