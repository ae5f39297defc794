#ifndef VELOX_KVF_LAUNCH_LOGOPTION_H
#define VELOX_KVF_LAUNCH_LOGOPTION_H

#include <optional>
#include <string_view>

/// "-Xlog:WHAT:OUTPUT:DECORATORS:..." in its parts, as views of it; what is not there is empty.
struct LogOption {
  std::string_view what;  ///< selections with commas between them; or help, disable, async
  std::string_view output;
  std::string_view decorators;
};

/// Nothing: it is another option.
std::optional<LogOption> logOption(std::string_view option);

/// What "-Xlog:" or "-Xloggc:" names a file with, a view of the option; empty: none.
std::string_view logOutputOf(std::string_view option);

/// The file that "-Xlog:WHAT:OUTPUT:..." or "-Xloggc:OUTPUT" logs to; empty: none.
std::string_view logFileOf(std::string_view option);

#endif
