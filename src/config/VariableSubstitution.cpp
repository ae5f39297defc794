#include "config/VariableSubstitution.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/PropertyKeys.h"
#include "logging/Logging.h"

namespace {

constexpr std::size_t maxReferences = 100;
constexpr std::size_t shownBytes = 60;
constexpr int maxSubstitutions = 10000;
constexpr unsigned int maxSubstitutedLength = 1U << 20U;
constexpr std::string_view escapedPercent = "\\%";

void replaceAll(WString& text, std::string_view from, std::string_view to) {
  const std::string_view source = text.view();
  std::size_t found = source.find(from);
  if (found == std::string_view::npos) return;
  WString replaced;
  std::size_t start = 0;
  for (; found != std::string_view::npos; found = source.find(from, start)) {
    replaced += source.substr(start, found - start);
    replaced += to;
    start = found + from.size();
  }
  replaced += source.substr(start);
  text = std::move(replaced);
}

/// The first characters of a value, fit for one line of a message.
WString beginningOf(const WString& value) {
  std::size_t length = std::min<std::size_t>(value.length(), shownBytes);
  const auto continuesCharacter = [](char c) {
    return (static_cast<unsigned>(c) & 0xC0U) == 0x80U;
  };
  while (length > 0 && length < value.length() && continuesCharacter(value.view()[length]))
    --length;
  WString beginning;
  for (const char c : value.view().substr(0, length)) {
    beginning += static_cast<unsigned char>(c) < ' ' ? ' ' : c;
  }
  return beginning;
}

std::vector<WString> namesIn(const WString& value) {
  std::vector<WString> names;
  unsigned int open = value.find('%');
  while (open != WString::npos) {
    const unsigned int close = value.find('%', open + 1);
    if (close == WString::npos) break;
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
                      const SimpleProperties& third, AssemblyObserver& observer) {
  if (value.find('%') == WString::npos) return;
  const WString beginning = beginningOf(value);
  replaceAll(value, escapedPercent, percentMarker);

  const std::vector<WString> names = namesIn(value);
  if (names.size() > maxReferences) {
    const std::string most = std::to_string(maxReferences);
    Logging::FatalError(
        {"More than ", most,
         " variable references in the value that begins with : ", beginning.view()});
  }
  for (const WString& name : names) {
    WString replacement;
    VariableSource source = VariableSource::nothing;
    if (first.get(keys::variablePrefix + name, replacement)) {
      source = VariableSource::definition;
    } else if (const char* exported = std::getenv(name.c_str())) {
      replacement = exported;
      source = VariableSource::environment;
    } else if (second.get(name, replacement)) {
      source = VariableSource::entries;
    } else if (third.get(name, replacement)) {
      source = VariableSource::context;
    }
    // Each search starts over, so a reference inside a replacement is found first.
    const unsigned int at = value.find("%" + name);
    observer.referenceReplaced({name, source, replacement, at});
    value.replace(at, name.length() + 2, replacement.c_str());
  }
  replaceAll(value, percentMarker, "%");
}

void substitute(WString& text, const SimpleProperties& properties) {
  const WString beginning = beginningOf(text);
  text.replace(text.find('\\'), 2, "/");
  text.replace(text.find_cstr("%PSP%"), 5, ":");
  for (int count = 0; substituteFirst(text, properties); ++count) {
    if (count == maxSubstitutions || text.length() > maxSubstitutedLength) {
      Logging::FatalError(
          {"Variable references without end in the line that begins with : ", beginning.view()});
    }
  }
}
