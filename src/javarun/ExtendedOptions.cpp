#include "javarun/ExtendedOptions.h"

#include <algorithm>

namespace {

constexpr unsigned int npos = WString::npos;

/// The first pair of double quotes from a position on; either may be missing.
struct Quotes {
  unsigned int open;
  unsigned int close;

  [[nodiscard]] bool enclose(unsigned int at) const {
    return close != npos && open < at && at < close;
  }
};

Quotes quotesFrom(const WString& line, unsigned int start) {
  const unsigned int open = line.find('"', start);
  return {open, open == npos ? npos : line.find('"', open + 1)};
}

/// The first space from a position on that does not lie between the quotes.
unsigned int spaceOutside(const WString& line, unsigned int start, const Quotes& quotes) {
  const unsigned int space = line.find(' ', start);
  return space != npos && quotes.enclose(space) ? line.find(' ', quotes.close) : space;
}

/// The end of the word that is joined to an option as its value.
unsigned int endOfValue(const WString& line, unsigned int start, const Quotes& quotes) {
  const unsigned int space = spaceOutside(line, start, quotes);
  const bool loneQuoteBefore = quotes.open != npos && quotes.close == npos && quotes.open < space;
  return space == npos || loneQuoteBefore ? line.length() : space;
}

/// Removes the first pair of quotes with all that follows it, or a lone quote.
WString withoutQuotes(const WString& option) {
  const Quotes quotes = quotesFrom(option, 0);
  if (quotes.open == npos) return option;
  const unsigned int inside = quotes.open + 1;
  return option.substr(0, quotes.open) +
         option.substr(inside, quotes.close == npos ? npos : quotes.close - inside);
}

}  // namespace

std::vector<WString> splitExtendedOptions(const WString& line) {
  std::vector<WString> options;
  unsigned int at = 0;
  Quotes quotes = quotesFrom(line, 0);
  for (unsigned int start = 0; (start = line.find('-', at)) != npos;) {
    if (quotes.open < start) quotes = quotesFrom(line, start);
    unsigned int end = std::min(spaceOutside(line, start, quotes), line.length());
    WString option = line.substr(start, end - start);
    const unsigned int next = end + 1;
    if (next < line.length() && line[next] != '-') {
      end = endOfValue(line, next, quotes);
      option += "=";
      option += line.substr(next, end - next);
    }
    options.push_back(withoutQuotes(option));
    at = end + 1;
  }
  return options;
}
