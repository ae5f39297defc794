#include "kvf/text/Text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <numeric>

namespace {

constexpr std::size_t longestShown = 160;
constexpr std::string_view hexDigits = "0123456789abcdef";

bool isControl(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

void appendEscaped(std::string& result, char c) {
  const auto byte = static_cast<unsigned char>(c);
  switch (c) {
    case '\n':
      result += "\\n";
      return;
    case '\r':
      result += "\\r";
      return;
    case '\t':
      result += "\\t";
      return;
    default:
      result += "\\x";
      result += hexDigits[byte >> 4U];
      result += hexDigits[byte & 0xFU];
  }
}

/// Three digits, so that a digit that follows is not read as one of them.
void appendOctal(std::string& result, char c) {
  const auto byte = static_cast<unsigned char>(c);
  result += '\\';
  for (const unsigned shift : {6U, 3U, 0U})
    result += static_cast<char>('0' + ((byte >> shift) & 7U));
}

bool isContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U;
}

/// The length of the character at the start of the text; 0 when it is malformed UTF-8.
std::size_t characterLength(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if (!isContinuation(text[i])) return 0;
  }
  // Longer than it need be, a surrogate, or beyond the last character.
  const auto second = static_cast<unsigned char>(text[1]);
  const bool isInvalid = (lead == 0xE0 && second < 0xA0) || (lead == 0xED && second >= 0xA0) ||
                         (lead == 0xF0 && second < 0x90) || (lead == 0xF4 && second >= 0x90);
  return isInvalid ? 0 : length;
}

/// The same; 0 also for a control character.
std::size_t printableLength(std::string_view text) {
  const bool isUpperControl =
      text[0] == '\xC2' && text.size() > 1 && static_cast<unsigned char>(text[1]) < 0xA0;
  return isControl(text[0]) || isUpperControl ? 0 : characterLength(text);
}

/// Calls visit(text, isPrintable) for every character, and for every byte that is not printable.
template <class Visit>
void forEachCharacter(std::string_view text, Visit&& visit) {
  while (!text.empty()) {
    const std::size_t length = printableLength(text);
    visit(text.substr(0, std::max<std::size_t>(length, 1)), length > 0);
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
}

std::size_t editDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const bool same = std::tolower(static_cast<unsigned char>(a[i - 1])) ==
                        std::tolower(static_cast<unsigned char>(b[j - 1]));
      const std::size_t replaced = diagonal + (same ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
    }
  }
  return row.back();
}

}  // namespace

std::string concat(std::initializer_list<std::string_view> pieces) {
  std::size_t size = 0;
  for (const std::string_view piece : pieces) size += piece.size();
  std::string text;
  text.reserve(size);
  for (const std::string_view piece : pieces) text += piece;
  return text;
}

std::size_t charactersIn(std::string_view text) {
  std::size_t count = 0;
  for (; !text.empty(); ++count)
    text.remove_prefix(std::max<std::size_t>(characterLength(text), 1));
  return count;
}

std::vector<std::string_view> piecesOf(std::string_view text, std::string_view separators) {
  std::vector<std::string_view> pieces;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find_first_of(separators, start), text.size());
    if (end > start) pieces.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return pieces;
}

std::string printable(std::string_view text) {
  const auto isPlain = [](char c) { return c >= 0x20 && c < 0x7F; };
  if (std::all_of(text.begin(), text.end(), isPlain)) return std::string(text);
  std::string result;
  forEachCharacter(text, [&](std::string_view character, bool isPrintable) {
    if (isPrintable) {
      result += character;
    } else {
      appendEscaped(result, character[0]);
    }
  });
  return result;
}

std::string shownWhole(std::string_view text) {
  return concat({"\"", printable(text), "\""});
}

std::string shown(std::string_view text) {
  std::size_t end = std::min(text.size(), longestShown);
  // Not within a character.
  while (end < text.size() && end > 0 && isContinuation(text[end])) --end;
  return concat({"\"", printable(text.substr(0, end)), end < text.size() ? "..." : "", "\""});
}

std::string shellWord(std::string_view text) {
  const auto plain = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 ||
           std::string_view("_-+=:,./@%").find(c) != std::string_view::npos;
  };
  if (!text.empty() && std::all_of(text.begin(), text.end(), plain)) return std::string(text);
  std::string word = "'";
  for (const char c : text) {
    if (c == '\'') {
      word += "'\\''";
    } else {
      word += c;
    }
  }
  return word + "'";
}

std::string printableShellWord(std::string_view text) {
  if (printable(text) == text) return shellWord(text);
  std::string word = "$'";
  forEachCharacter(text, [&](std::string_view character, bool isPrintable) {
    if (!isPrintable) return appendOctal(word, character[0]);
    if (character == "\\" || character == "'") word += '\\';
    word += character;
  });
  return word + "'";
}

std::string spelledInPropertiesFile(std::string_view value) {
  std::string spelled;
  // A first "=" would be read as the separator after a blank.
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

std::string_view nearestName(std::string_view text,
                             const std::vector<std::string_view>& candidates) {
  // A third of the characters may differ, which is little for short names.
  constexpr std::size_t longestName = 200;
  if (text.size() > longestName) return {};
  std::string_view nearest;
  std::size_t best = text.size() / 3 + 1;
  for (const std::string_view candidate : candidates) {
    const std::size_t longer = std::max(text.size(), candidate.size());
    if (longer - std::min(text.size(), candidate.size()) >= best) continue;
    const std::size_t distance = editDistance(text, candidate);
    if (distance >= best) continue;
    best = distance;
    nearest = candidate;
  }
  return nearest;
}

std::string_view misspeltName(std::string_view text,
                              const std::vector<std::string_view>& candidates) {
  constexpr std::size_t maxSlips = 2;
  const std::string_view nearest = nearestName(text, candidates);
  if (nearest.empty()) return {};
  const std::size_t slips = editDistance(text, nearest);
  const auto isAsNear = [&](std::string_view other) {
    return other != nearest && editDistance(text, other) <= slips;
  };
  const bool isOnly = std::none_of(candidates.begin(), candidates.end(), isAsNear);
  return slips <= maxSlips && isOnly ? nearest : std::string_view();
}

std::string countOf(std::size_t number, std::string_view noun) {
  return concat({std::to_string(number), " ", noun, number == 1 ? "" : "s"});
}

std::string didYouMean(std::string_view name) {
  return name.empty() ? std::string() : concat({" (did you mean ", name, "?)"});
}
