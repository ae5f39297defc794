#ifndef VELOX_CONFIG_PROPERTIESSCANNER_H
#define VELOX_CONFIG_PROPERTIESSCANNER_H

#include <cstddef>
#include <string_view>

#include "config/AssemblyObserver.h"
#include "foundation/WString.h"

/// One "name=value" entry of a properties file, before substitution.
struct PropertiesEntry {
  WString key;
  WString value;
  bool endedByLineEnd = false;  ///< false for a last line without a line end
  std::size_t keyAt = 0;        ///< offset of the key in the text
  std::size_t valueAt = 0;      ///< offset after the character that ended the key
  std::size_t endAt = 0;        ///< offset of the end of the line
};

/// Splits the text of a properties file into entries; a NUL ends the text.
///
///                   "#" "!"
///     line start ------------> comment
///       |    ^                    |
///       |    +---- line end ------+   any line end goes back to line start
///       v other
///      key --- blank "=" ":" ---> value
///
/// A backslash takes the next character out of these rules in every state and leaves the state as
/// it is: t, r and n stand for control characters, a line end is dropped (the line goes on), any
/// other stands for itself.
///
/// Blanks (spaces and tabs) at the start of a line and of a value are skipped; those inside and
/// at the end of a value belong to it. One "=" in front of a finished value is dropped, so
/// "key=value", "key: value", "key value" and "key==value" all give "value"; in "key = value" the
/// first blank ends the key, and the value is " value". A line that never reaches a separator gives
/// no entry.
class PropertiesScanner {
 public:
  /// REQUIRES: the text and the observer outlive the scanner.
  explicit PropertiesScanner(std::string_view text, AssemblyObserver& observer = noObserver)
      : text_(text.substr(0, text.find('\0'))), observer_(observer) {}

  /// The next entry; false at the end of the text. Lines without a separator are skipped.
  bool next(PropertiesEntry& entry);

 private:
  enum class State { lineStart, comment, key, value };

  void take(char c);
  void takeEscaped(char c);
  /// The character just taken with those after it that have no meaning of their own, taken too.
  std::string_view restOfRun();
  void append(std::string_view text);
  void endKey();
  /// True when the line was an entry, which is then moved into the argument.
  bool endLine(PropertiesEntry& entry, bool byLineEnd);

  std::string_view text_;
  AssemblyObserver& observer_;
  std::size_t at_ = 0;
  std::size_t keyAt_ = 0;
  std::size_t valueAt_ = 0;
  State state_ = State::lineStart;
  WString key_;
  WString buffer_;
};

#endif
