#ifndef VELOX_KVF_COMMANDS_FILENAME_H
#define VELOX_KVF_COMMANDS_FILENAME_H

#include <string>

/// For options that name what is to be written: what a variable that is not set leaves is a
/// mistake, not an option that was not given. Empty when the name is none.
inline std::string refusalOfName(const std::string& name) {
  return name.empty() ? "an empty name is no file's" : "";
}

#endif
