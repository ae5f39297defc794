// Variable references: the first line of the input is the value, each other line name=value is a
// property in one of three sets, in turn.

#include <algorithm>
#include <map>
#include <optional>

#include "Fuzzing.h"
#include "config/VariableSubstitution.h"

namespace {

using Set = std::map<std::string, std::string>;

void replaceEach(const std::string& from, const std::string& to, std::string& text) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
}

std::string environmentOr(const std::string& name, const std::string& fallback) {
  const char* value = std::getenv(name.c_str());
  return value == nullptr ? fallback : value;
}

std::string valueIn(const Set& set, const std::string& name, const std::string& fallback) {
  const auto found = set.find(name);
  return found == set.end() ? fallback : found->second;
}

std::string modelOfReferences(std::string value, const Set (&sets)[3]) {
  if (value.find('%') == std::string::npos) return value;
  replaceEach("\\%", "@@#@@", value);
  // Every second piece lies between two percent signs, but the last if it is not closed.
  const Texts pieces = splitAt('%', value);
  for (std::size_t i = 1; i + 1 < pieces.size(); i += 2) {
    const std::string& name = pieces[i];
    const std::string property = valueIn(sets[1], name, valueIn(sets[2], name, ""));
    const std::string replacement =
        valueIn(sets[0], "wrapper.variable." + name, environmentOr(name, property));
    const std::size_t at = value.find("%" + name);
    if (at != std::string::npos) value.replace(at, name.size() + 2, replacement);
  }
  replaceEach("@@#@@", "%", value);
  return value;
}

/// Nothing when the references (nearly) never end.
std::optional<std::string> modelOfOlderReferences(std::string text, const Set& set) {
  const std::size_t backslash = text.find('\\');
  if (backslash != std::string::npos) text.replace(backslash, 2, "/");
  const std::size_t separator = text.find("%PSP%");
  if (separator != std::string::npos) text.replace(separator, 5, ":");
  std::size_t from = 0;
  for (int passes = 0;;) {
    const std::size_t open = text.find('%', from);
    const std::size_t close = open == std::string::npos ? open : text.find('%', open + 1);
    if (close == std::string::npos) return text;
    from = open + 1;
    if (text[close - 1] == '\\') continue;
    const std::string name = text.substr(open + 1, close - open - 1);
    text.replace(open, close + 1 - open, valueIn(set, name, environmentOr(name, "")));
    from = 0;
    if (++passes > 200 || text.size() > 10000) return {};
  }
}

}  // namespace

void fuzz(std::string_view input) {
  static const bool ready = ::setenv("E", "from %B% outside", 1) == 0 && ::setenv("F", "", 1) == 0;
  const Texts lines = splitAt('\n', upToNul(input));
  if (!ready || std::count(lines[0].begin(), lines[0].end(), '%') > 200) return;
  Set sets[3];
  SimpleProperties properties[3];
  for (std::size_t i = 1; i < lines.size(); ++i) {
    const std::size_t equals = lines[i].find('=');
    if (equals == std::string::npos) continue;
    const std::string name = lines[i].substr(0, equals);
    const std::string value = lines[i].substr(equals + 1);
    sets[i % 3][name] = value;
    properties[i % 3].set(name.c_str(), value.c_str());
  }
  WString value = lines[0].c_str();
  ReplaceVariables(value, properties[0], properties[1], properties[2]);
  requireSame("ReplaceVariables", modelOfReferences(lines[0], sets), textOf(value));
  if (const auto model = modelOfOlderReferences(lines[0], sets[0])) {
    WString text = lines[0].c_str();
    substitute(text, properties[0]);
    requireSame("substitute", *model, textOf(text));
  }
}
