#ifndef VELOX_FOUNDATION_TEXTPIECES_H
#define VELOX_FOUNDATION_TEXTPIECES_H

#include <string_view>
#include <vector>

#include "foundation/WString.h"

/// What stands before and after a character. The pieces are views of the divided text.
struct Halves {
  std::string_view before;
  std::string_view after;
};

/// The text before and after the first `c`. Without one, both halves are the whole text.
constexpr Halves splitAt(std::string_view text, char c) {
  const std::size_t at = text.find(c);
  if (at == std::string_view::npos) return {text, text};
  return {text.substr(0, at), text.substr(at + 1)};
}

/// The text after the last `c`; the whole text without one.
constexpr std::string_view afterLast(std::string_view text, char c) {
  const std::size_t at = text.rfind(c);
  return at == std::string_view::npos ? text : text.substr(at + 1);
}

/// True for the two characters that separate the elements of a path list, ":" and ";".
bool isPathSeparator(char c);

/// The elements of a path list in order, as views of it. Empty ones are skipped.
std::vector<std::string_view> pathElements(std::string_view list);

/// The path without its last character when that is a "/" or a "\".
std::string_view withoutTrailingSlash(std::string_view path);

/// The name that a program was started by: the text after the last "/", without the first ".exe".
WString GetBinaryNameFromPath(const WString& path);

#endif
