#ifndef VELOX_KVF_LAUNCH_STARTREQUEST_H
#define VELOX_KVF_LAUNCH_STARTREQUEST_H

#include <filesystem>
#include <optional>
#include <string>

/// A launch to look at: what is started, and when it has started.
struct StartRequest {
  std::string file;  ///< the properties file
  std::filesystem::path launcher;
  std::string until;               ///< it has started, and is ended, once it prints this
  std::optional<unsigned> runFor;  ///< seconds; then it is ended
  unsigned pairs = 0;              ///< of starts to compare; 0: none
};

#endif
