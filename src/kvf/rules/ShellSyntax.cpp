#include "kvf/rules/ShellSyntax.h"

#include <algorithm>
#include <cctype>
#include <iterator>

#include "kvf/text/Text.h"

namespace {

bool isNameCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

std::string_view nameAt(std::string_view text, std::size_t at) {
  std::size_t end = at;
  while (end < text.size() && isNameCharacter(text[end])) ++end;
  return text.substr(at, end - at);
}

bool isOfLoader(std::string_view name) {
  return name == "ORIGIN" || name == "LIB" || name == "PLATFORM";
}

std::optional<ShellExpansion> variableAt(std::string_view text, std::size_t dollar) {
  const bool inBraces = dollar + 1 < text.size() && text[dollar + 1] == '{';
  const std::size_t start = dollar + (inBraces ? 2 : 1);
  const std::string_view name = nameAt(text, start);
  const bool isName = !name.empty() && std::isdigit(static_cast<unsigned char>(name[0])) == 0;
  const std::size_t end = start + name.size();
  const bool isClosed = !inBraces || (end < text.size() && text[end] == '}');
  if (!isName || !isClosed || isOfLoader(name)) return std::nullopt;
  return ShellExpansion{std::string(text.substr(dollar, end - dollar + (inBraces ? 1 : 0))),
                        concat({"%", name, "%"}), dollar};
}

/// Quoted words count as text, not as syntax.
std::size_t countOfQuote(std::string_view word, std::string_view quote) {
  std::size_t count = 0;
  for (std::size_t at = 0; (at = word.find(quote, at)) != std::string_view::npos;
       at += quote.size()) {
    ++count;
  }
  return count;
}

bool opensQuote(std::string_view word, std::string_view quote) {
  return word.starts_with(quote) || word.find(concat({"=", quote})) != std::string_view::npos;
}

}  // namespace

std::optional<ShellExpansion> shellExpansionIn(std::string_view text, std::size_t from) {
  for (std::size_t i = from; i < text.size(); ++i) {
    const std::string_view rest = text.substr(i);
    const bool atStart = i == 0 || std::string_view(":;=").find(text[i - 1]) != std::string::npos;
    if (rest.starts_with("$(")) return ShellExpansion{"$(...)", "", i};
    if (rest[0] == '`' && rest.find('`', 1) != std::string_view::npos) {
      return ShellExpansion{"`...`", "", i};
    }
    if (rest[0] == '~' && atStart && (rest.size() == 1 || rest[1] == '/')) {
      return ShellExpansion{"~", "%HOME%", i};
    }
    if (rest[0] != '$') continue;
    if (auto variable = variableAt(text, i)) return variable;
  }
  return std::nullopt;
}

std::optional<std::vector<std::string>> shellWords(std::string_view text) {
  std::vector<std::string> words;
  bool inQuotes = false;
  bool inWord = false;
  for (const char c : text) {
    const bool blank = c == ' ' || c == '\t' || c == '\r' || c == '\n';
    if (blank && !inQuotes) {
      inWord = false;
      continue;
    }
    if (!inWord) words.emplace_back();
    inWord = true;
    if (c == '"') {
      inQuotes = !inQuotes;
    } else {
      words.back() += c;
    }
  }
  if (inQuotes) return std::nullopt;
  return words;
}

std::string redirectionIn(const std::vector<std::string>& words) {
  constexpr std::string_view whole[] = {"2>&1", "1>&2", ">&2", ">&1"};
  for (std::size_t i = 0; i < words.size(); ++i) {
    std::string_view word = words[i];
    if (std::find(std::begin(whole), std::end(whole), word) != std::end(whole)) return words[i];
    if (word == "&" && i > 0 && i + 1 == words.size()) return words[i];
    if (word.starts_with('1') || word.starts_with('2') || word.starts_with('&')) {
      word.remove_prefix(1);
    }
    if (!word.starts_with('>') && !word.starts_with('<')) continue;
    while (word.starts_with('>') || word.starts_with('<')) word.remove_prefix(1);
    const std::string_view target = !word.empty() || i + 1 == words.size() ? word : words[i + 1];
    if (target.starts_with('/')) return words[i];
  }
  return {};
}

std::string foreignQuoteIn(const std::vector<std::string>& words) {
  struct Pair {
    std::string_view open, close;
  };
  constexpr Pair pairs[] = {{"'", "'"},
                            {"\xE2\x80\x9C", "\xE2\x80\x9D"},
                            {"\xE2\x80\x9E", "\xE2\x80\x9C"},
                            {"\xE2\x80\x9D", "\xE2\x80\x9D"},
                            {"\xE2\x80\x98", "\xE2\x80\x99"}};
  for (const Pair& pair : pairs) {
    const auto isPart = [&](const std::string& word, std::string_view quote) {
      // One with a blank was put into double quotes, and is meant as it is.
      return countOfQuote(word, quote) == 1 && word.find(' ') == std::string::npos;
    };
    const auto open = std::find_if(words.begin(), words.end(), [&](const std::string& word) {
      return opensQuote(word, pair.open) && isPart(word, pair.open);
    });
    if (open == words.end() || open->ends_with(pair.close)) continue;
    const bool closes = std::any_of(open + 1, words.end(), [&](const std::string& word) {
      return word.ends_with(pair.close) && isPart(word, pair.close);
    });
    if (closes) return *open;
  }
  return {};
}
