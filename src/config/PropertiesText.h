#ifndef VELOX_CONFIG_PROPERTIESTEXT_H
#define VELOX_CONFIG_PROPERTIESTEXT_H

#include <cstddef>
#include <cstdio>
#include <string>

/// What opening and reading a properties file comes to.
struct PropertiesText {
  enum class State {
    missing,  ///< it cannot be opened
    unread,   ///< it cannot be read to its end, or reaches the size limit: it yields no entries
    read
  };

  State state = State::missing;
  std::string text;  ///< empty unless it was read
};

/// A file of so many bytes yields no entries.
inline constexpr std::size_t propertiesSizeLimit = 1048576;

/// Opens the file and reads it whole. A named pipe is waited for until somebody writes to it.
PropertiesText readPropertiesText(const char* fileName);
/// The same for one that is open.
PropertiesText readPropertiesText(std::FILE* file);

#endif
