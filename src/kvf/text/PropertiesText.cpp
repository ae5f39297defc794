#include "kvf/text/PropertiesText.h"

std::string spelledInPropertiesFile(std::string_view value) {
  std::string spelled;
  // A first "=" is taken for a separator after a blank.
  if (value.starts_with('=')) spelled += '=';
  if (value.starts_with(' ')) spelled += '\\';
  for (const char c : value) {
    switch (c) {
      case '\\':
        spelled += R"(\\)";
        break;
      case '%':
        // The file's own escapes come first, so the substitution finds "\%".
        spelled += R"(\\%)";
        break;
      case '\t':
        spelled += R"(\t)";
        break;
      case '\r':
        spelled += R"(\r)";
        break;
      case '\n':
        spelled += R"(\n)";
        break;
      default:
        spelled += c;
    }
  }
  return spelled;
}
