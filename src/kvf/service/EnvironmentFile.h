#ifndef VELOX_KVF_SERVICE_ENVIRONMENTFILE_H
#define VELOX_KVF_SERVICE_ENVIRONMENTFILE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// A variable of an environment file.
struct EnvironmentEntry {
  std::string name;
  std::string value;
  std::size_t line;    ///< line of the name, from 1
  bool isNameAllowed;  ///< else systemd ignores the entry
};

/// Reads the file of an EnvironmentFile= of systemd, which is not a shell script: quotes and
/// backslashes are resolved, and nothing else.
std::vector<EnvironmentEntry> parseEnvironmentFile(std::string_view text);

/// True for letters, digits and _, without a digit in front.
bool isVariableName(std::string_view name);

#endif
