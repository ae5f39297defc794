#ifndef VELOX_JAVARUN_COMMONTOOL_H
#define VELOX_JAVARUN_COMMONTOOL_H

#include <vector>

#include "foundation/WString.h"

/// Stateless utilities of the launch paths.
class CommonTool {
 public:
  /// The directory as given, and after a ":" each archive that a search of it as a class path entry
  /// brings. Nothing in the launcher calls it.
  static WString expandDirToClassPath(const WString& dir);

  /// The pieces between separators, empty ones included; but nothing after a trailing separator.
  static std::vector<WString> splitEx(const WString& text, const WString& separator);

  /// True when the text holds the space character; other white space does not count.
  static bool isContainsSpace(const char* text);
};

#endif
