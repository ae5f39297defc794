#include "kvf/text/PropertiesSpelling.h"

#include <algorithm>

#include "config/VariableSubstitution.h"
#include "kvf/text/Text.h"

bool cannotBeValue(std::string_view value) {
  return value.find('%') != std::string_view::npos &&
         value.find(percentMarker) != std::string_view::npos;
}

std::string spelledKey(std::string_view key) {
  constexpr std::string_view special = " =:\\#!";
  std::string spelled;
  for (const char c : key) {
    if (c == '\t' || c == '\r' || c == '\n') {
      spelled += c == '\t' ? "\\t" : c == '\r' ? "\\r" : "\\n";
      continue;
    }
    if (special.find(c) != std::string_view::npos) spelled += '\\';
    spelled += c;
  }
  return spelled;
}

std::string spelledPart(std::string_view text) {
  return spelledInPropertiesFile(concat({"x", text})).substr(1);
}

std::string escapedPercents(std::string_view value) {
  std::string text;
  for (const char c : value) {
    if (c == '%') text += '\\';
    text += c;
  }
  return text;
}

std::optional<std::string> optionWord(std::string_view option) {
  if (!option.starts_with('-') || option.find('"') != std::string_view::npos) return std::nullopt;
  const std::size_t blank = option.find(' ');
  if (blank == std::string_view::npos) return std::string(option);
  // An option begins at its dash, so that the quotes come after it.
  const std::size_t sign = std::min(option.find_first_of("=:"), option.size());
  const std::size_t open = sign < blank ? sign + 1 : 1;
  return concat({option.substr(0, open), "\"", option.substr(open), "\""});
}

std::optional<std::string> argumentWord(std::string_view argument) {
  if (argument.find('"') != std::string_view::npos) return std::nullopt;
  const bool isPlain =
      !argument.empty() && argument.find_first_of(" \t\r\n") == std::string_view::npos;
  return isPlain ? std::string(argument) : concat({"\"", argument, "\""});
}
