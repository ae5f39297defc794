#ifndef VELOX_FOUNDATION_TEXTPIECES_H
#define VELOX_FOUNDATION_TEXTPIECES_H

#include <string_view>

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

#endif
