#include "inspect/Text.h"

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

/// The length of the UTF-8 sequence at the start of the text; 0 when it is malformed or a C1
/// control character.
std::size_t sequenceLength(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80) return 1;
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((static_cast<unsigned char>(text[i]) & 0xC0U) != 0x80U) return 0;
  }
  const bool control = lead == 0xC2 && static_cast<unsigned char>(text[1]) < 0xA0;
  return control ? 0 : length;
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
  std::string text;
  for (const std::string_view piece : pieces) text += piece;
  return text;
}

std::string shown(std::string_view text) {
  std::string result = "\"";
  const std::string_view cut = text.substr(0, longestShown);
  for (std::size_t at = 0; at < cut.size();) {
    const std::size_t length = sequenceLength(text.substr(at));
    if (length == 0 || isControl(text[at])) {
      appendEscaped(result, text[at]);
      ++at;
    } else {
      result += text.substr(at, length);
      at += length;
    }
  }
  if (cut.size() < text.size()) result += "...";
  return result + "\"";
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

std::string didYouMean(std::string_view name) {
  return name.empty() ? std::string() : concat({" (did you mean ", name, "?)"});
}
