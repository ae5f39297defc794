#include "kvf/text/MarkupText.h"

#include <cstddef>

#include "kvf/text/Text.h"

std::string markupText(std::string_view text) {
  std::string result;
  for (const char c : printable(text)) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += c;
    }
  }
  for (const std::string_view none : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {
    for (std::size_t at = 0; (at = result.find(none, at)) != std::string::npos;)
      result.replace(at, none.size(), "\xEF\xBF\xBD");
  }
  return result;
}
