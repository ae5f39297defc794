#ifndef VELOX_JAVARUN_COMMONTOOL_H
#define VELOX_JAVARUN_COMMONTOOL_H

#include <vector>

#include "foundation/Properties.h"

/// The process-wide limits of class-path directory expansion.
class CommonConfig {
 public:
  /// Deepest directory level of a recursive expansion; the named directory is level 1.
  static int searchLevel;
  /// Most archives that one class-path directory contributes.
  static int libNumberOfOnePath;

  /// Reads both limits; a value out of range ends the process with a message.
  static void initConfig(const SimpleProperties& props);
};

/// Stateless utilities of the launch paths.
class CommonTool {
 public:
  /// The directory as given, followed by ":" and the path of each archive in it, in reading order.
  /// One that ends with "**" is searched down to CommonConfig::searchLevel, from the directory
  /// before its last three characters ("lib/**"). One that cannot be read yields itself alone.
  static WString expandDirToClassPath(const WString& dir);

  /// The pieces between separators, empty ones included; but nothing after a trailing separator.
  static std::vector<WString> splitEx(const WString& text, const WString& separator);

  /// True when the text holds the space character; other white space does not count.
  static bool isContainsSpace(const char* text);
};

#endif
