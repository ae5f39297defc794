#include "config/VariableSubstitution.h"

#include <cstdlib>
#include <string_view>
#include <vector>

#include "foundation/PropertyKeys.h"
#include "logging/Logging.h"

namespace {

constexpr std::size_t maxReferences = 100;
constexpr unsigned int shownCharacters = 60;
constexpr char escapedPercent[] = "\\%";
constexpr char percentMarker[] = "@@#@@";

void replaceAll(WString& text, const char* from, const char* to) {
  const auto fromLength = static_cast<unsigned int>(std::string_view(from).size());
  const auto toLength = static_cast<unsigned int>(std::string_view(to).size());
  for (unsigned int at = 0; (at = text.find_cstr(from, at)) != WString::npos; at += toLength) {
    text.replace(at, fromLength, to);
  }
}

std::vector<WString> namesIn(const WString& value) {
  std::vector<WString> names;
  unsigned int open = value.find('%');
  while (open != WString::npos) {
    const unsigned int close = value.find('%', open + 1);
    if (close == WString::npos) break;
    if (names.size() == maxReferences) {
      const WString start = value.substr(0, shownCharacters);
      Logging::FatalError(
          {"More than 100 variable references in the value that begins with : ", start.view()});
    }
    names.push_back(value.substr(open + 1, close - open - 1));
    open = value.find('%', close + 1);
  }
  return names;
}

}  // namespace

void ReplaceVariables(WString& value, const SimpleProperties& first, const SimpleProperties& second,
                      const SimpleProperties& third) {
  if (value.find('%') == WString::npos) return;
  replaceAll(value, escapedPercent, percentMarker);

  for (const WString& name : namesIn(value)) {
    WString replacement;
    if (!first.get(keys::variablePrefix + name, replacement)) {
      if (const char* exported = std::getenv(name.c_str())) {
        replacement = exported;
      } else if (!second.get(name, replacement)) {
        third.get(name, replacement);
      }
    }
    // Each search starts over, so a replacement that brings a reference along is found first.
    const unsigned int at = value.find("%" + name);
    value.replace(at, name.length() + 2, replacement.c_str());
  }
  replaceAll(value, percentMarker, "%");
}
