#include "config/VariableSubstitution.h"

#include <cstdlib>
#include <string_view>
#include <vector>

#include "foundation/PropertyKeys.h"
#include "logging/Logging.h"

namespace {

constexpr std::size_t maxReferences = 100;
constexpr unsigned int shownCharacters = 60;
constexpr int maxSubstitutions = 10000;
constexpr char escapedPercent[] = "\\%";
constexpr char percentMarker[] = "@@#@@";

void replaceAll(WString& text, const char* from, const char* to) {
  const auto fromLength = static_cast<unsigned int>(std::string_view(from).size());
  const auto toLength = static_cast<unsigned int>(std::string_view(to).size());
  for (unsigned int at = 0; (at = text.find_cstr(from, at)) != WString::npos; at += toLength) {
    text.replace(at, fromLength, to);
  }
}

[[noreturn]] void complain(const char* complaint, const WString& value) {
  const WString start = value.substr(0, shownCharacters);
  Logging::FatalError({complaint, start.view()});
}

std::vector<WString> namesIn(const WString& value) {
  std::vector<WString> names;
  unsigned int open = value.find('%');
  while (open != WString::npos) {
    const unsigned int close = value.find('%', open + 1);
    if (close == WString::npos) break;
    if (names.size() == maxReferences) {
      complain("More than 100 variable references in the value that begins with : ", value);
    }
    names.push_back(value.substr(open + 1, close - open - 1));
    open = value.find('%', close + 1);
  }
  return names;
}

/// Replaces the first complete reference; false when there is none.
bool substituteFirst(WString& text, const SimpleProperties& properties) {
  for (unsigned int open = 0; (open = text.find('%', open)) != WString::npos; ++open) {
    const unsigned int close = text.find('%', open + 1);
    if (close == WString::npos) return false;
    if (text[close - 1] == '\\') continue;
    const WString name = text.substr(open + 1, close - open - 1);
    const WString replacement = properties.valueOf(name, std::getenv(name.c_str()));
    text.replace(open, name.length() + 2, replacement.c_str());
    return true;
  }
  return false;
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

void substitute(WString& text, const SimpleProperties& properties) {
  text.replace(text.find('\\'), 2, "/");
  text.replace(text.find_cstr("%PSP%"), 5, ":");
  for (int count = 0; substituteFirst(text, properties); ++count) {
    if (count == maxSubstitutions) {
      complain("Variable references without end in the line that begins with : ", text);
    }
  }
}
