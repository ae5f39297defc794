// The line of java.extended.properties: the JVM options in it.

#include <algorithm>

#include "Fuzzing.h"
#include "javarun/ExtendedOptions.h"

namespace {

constexpr std::size_t none = std::string::npos;

std::string withoutQuotes(const std::string& option) {
  const Texts pieces = splitAt('"', option);
  return pieces.size() == 1 ? pieces[0] : pieces[0] + pieces[1];
}

Texts model(const std::string& line) {
  Texts options;
  for (std::size_t at = 0;;) {
    const std::size_t start = line.find('-', at);
    if (start == none) return options;
    const std::size_t open = line.find('"', start);
    const std::size_t close = open == none ? none : line.find('"', open + 1);
    const auto spaceFrom = [&](std::size_t from) {
      const std::size_t space = line.find(' ', from);
      const bool quoted = space != none && close != none && open < space && space < close;
      return quoted ? line.find(' ', close) : space;
    };
    std::size_t end = spaceFrom(start);
    std::string option = line.substr(start, end == none ? none : end - start);
    if (end != none && end + 1 < line.size() && line[end + 1] != '-') {
      const std::size_t value = end + 1;
      end = spaceFrom(value);
      if (open != none && close == none && open < end) end = none;
      option += "=" + line.substr(value, end == none ? none : end - value);
    }
    options.push_back(withoutQuotes(option));
    if (end == none) return options;
    at = end + 1;
  }
}

}  // namespace

void fuzz(std::string_view input) {
  const std::string line = upToNul(input);
  requireSame("options", model(line), textsOf(splitExtendedOptions(line.c_str())));
}
