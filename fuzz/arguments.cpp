// The text of application.args: the arguments of each of the three kinds of application.

#include "Fuzzing.h"
#include "javarun/ArgumentSplitter.h"

namespace {

constexpr char blanks[] = " \t\r\n";

std::string withoutQuotes(std::string text) {
  std::erase(text, '"');
  return text;
}

/// Word by word: quotes that protect blanks stand at the start of a word only.
Texts model(const std::string& text, LaunchWay way) {
  const bool native = way == LaunchWay::nativeLibrary;
  Texts arguments;
  for (std::size_t at = 0; (at = text.find_first_not_of(blanks, at)) != std::string::npos;) {
    std::string quoted;
    if (text[at] == '"') {
      const std::size_t close = text.find('"', at + 1);
      quoted = text.substr(at + 1, close == std::string::npos ? close : close - at - 1);
      const bool emptyPair = quoted.empty() && close != std::string::npos;
      if (emptyPair && way != LaunchWay::externalJava) arguments.emplace_back();
      at = close == std::string::npos ? text.size() : close + 1;
    }
    const std::size_t end = std::min(text.find_first_of(blanks, at), text.size());
    const std::string rest = text.substr(at, end - at);
    at = end;
    std::string word = quoted + withoutQuotes(rest);
    if (native) word = quoted.empty() ? rest : quoted;
    if (!word.empty()) arguments.push_back(word);
  }
  return arguments;
}

}  // namespace

void fuzz(std::string_view input) {
  const std::string text = upToNul(input);
  for (const LaunchWay way :
       {LaunchWay::hostedJava, LaunchWay::externalJava, LaunchWay::nativeLibrary}) {
    requireSame("arguments", model(text, way), textsOf(splitArguments(text.c_str(), way)));
  }
}
