#include "kvf/service/UnitWords.h"

#include <algorithm>
#include <cctype>
#include <cstdint>

namespace {

constexpr std::string_view blanks = " \t\n\r";

bool isBlank(char c) {
  return blanks.find(c) != std::string_view::npos;
}

void appendUtf8(std::string& text, std::uint32_t code) {
  const auto tail = [&](unsigned shift) {
    text += static_cast<char>(0x80U | ((code >> shift) & 0x3FU));
  };
  if (code < 0x80) {
    text += static_cast<char>(code);
  } else if (code < 0x800) {
    text += static_cast<char>(0xC0U | (code >> 6U));
    tail(0);
  } else if (code < 0x10000) {
    text += static_cast<char>(0xE0U | (code >> 12U));
    tail(6);
    tail(0);
  } else {
    text += static_cast<char>(0xF0U | (code >> 18U));
    tail(12);
    tail(6);
    tail(0);
  }
}

struct NumberEscape {
  char letter;
  unsigned digits;
  unsigned base;
  bool isByte;
};

constexpr NumberEscape numberEscapes[] = {
    {'x', 2, 16, true}, {'u', 4, 16, false}, {'U', 8, 16, false}};

struct LetterEscape {
  char letter;
  char meaning;
};

constexpr LetterEscape letterEscapes[] = {{'a', '\a'}, {'b', '\b'},  {'f', '\f'}, {'n', '\n'},
                                          {'r', '\r'}, {'t', '\t'},  {'v', '\v'}, {'\\', '\\'},
                                          {'"', '"'},  {'\'', '\''}, {'s', ' '}};

/// The digits as a number; nothing when one of them is not a digit.
std::optional<std::uint32_t> number(std::string_view digits, unsigned base) {
  std::uint32_t value = 0;
  for (const char c : digits) {
    const unsigned digit = c >= '0' && c <= '9'   ? static_cast<unsigned>(c - '0')
                           : c >= 'a' && c <= 'f' ? static_cast<unsigned>(c - 'a' + 10)
                           : c >= 'A' && c <= 'F' ? static_cast<unsigned>(c - 'A' + 10)
                                                  : base;
    if (digit >= base) return std::nullopt;
    value = value * base + digit;
  }
  return value;
}

/// Appends a character by its number, if it is one.
bool appendNumber(std::string_view digits, const NumberEscape& escape, std::string& result) {
  if (digits.size() != escape.digits) return false;
  const auto code = number(digits, escape.base);
  const bool isSurrogate = code && *code >= 0xD800 && *code <= 0xDFFF;
  if (!code || *code == 0 || (escape.isByte ? *code > 0xFF : *code > 0x10FFFF || isSurrogate))
    return false;
  if (escape.isByte) {
    result += static_cast<char>(*code);
  } else {
    appendUtf8(result, *code);
  }
  return true;
}

/// Appends what the escape after a backslash stands for; its length, or 0 for an unknown one.
std::size_t unescape(std::string_view text, std::string& result) {
  for (const LetterEscape& escape : letterEscapes) {
    if (!text.starts_with(escape.letter)) continue;
    result += escape.meaning;
    return 1;
  }
  for (const NumberEscape& escape : numberEscapes) {
    if (text.starts_with(escape.letter))
      return appendNumber(text.substr(1, escape.digits), escape, result) ? 1 + escape.digits : 0;
  }
  constexpr NumberEscape octal = {'\0', 3, 8, true};
  return appendNumber(text.substr(0, octal.digits), octal, result) ? octal.digits : 0;
}

}  // namespace

std::optional<UnitWord> nextUnitWord(std::string_view text, std::size_t& offset, UnitWords& notes) {
  while (offset < text.size() && isBlank(text[offset])) ++offset;
  if (offset >= text.size()) return std::nullopt;
  UnitWord word = {{}, offset, offset};
  char quote = '\0';
  bool isUnknown = false;
  for (; offset < text.size(); ++offset) {
    const char c = text[offset];
    if (quote == '\0' && isBlank(c)) break;
    if (c == '\\' && offset + 1 < text.size()) {
      const std::size_t length = unescape(text.substr(offset + 1), word.text);
      isUnknown = isUnknown || length == 0;
      if (length == 0) word.text.append(text.substr(offset, 2));
      offset += std::max<std::size_t>(length, 1);
    } else if (c == quote) {
      quote = '\0';
    } else if (quote == '\0' && (c == '\'' || c == '"')) {
      quote = c;
    } else {
      word.text += c;
    }
  }
  if (quote != '\0') {
    notes.unbalanced = true;
    return std::nullopt;
  }
  if (isUnknown) notes.unknownEscapes.push_back(word.text);
  word.end = offset;
  return word;
}

UnitWords splitUnitWords(std::string_view text) {
  UnitWords found;
  for (std::size_t offset = 0;;) {
    std::optional<UnitWord> word = nextUnitWord(text, offset, found);
    if (!word) return found;
    found.words.push_back(std::move(*word));
  }
}

ExpandedSpecifiers expandUnitSpecifiers(std::string_view text, const UnitSpecifiers& specifiers) {
  ExpandedSpecifiers result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '%' || at + 1 == text.size()) {
      result.text += text[at];
      continue;
    }
    const char letter = text[++at];
    const auto known = specifiers.find(letter);
    if (letter == '%') {
      result.text += '%';
    } else if (known != specifiers.end() && known->second) {
      result.text += *known->second;
    } else {
      result.text += {'%', letter};
      const bool isLetter = std::isalnum(static_cast<unsigned char>(letter)) != 0;
      if (known != specifiers.end()) {
        result.unknown += letter;
      } else if (isLetter) {
        result.refused += letter;
      }
    }
  }
  return result;
}

namespace {

/// Of ${NAME} at the start, or 0.
std::size_t bracedLength(std::string_view text) {
  if (!text.starts_with("${")) return 0;
  const std::size_t end = text.find('}');
  return end == std::string_view::npos ? 0 : end + 1;
}

std::string valueOf(const std::string& name, const UnitVariables& variables,
                    std::vector<std::string>& unset) {
  const auto found = variables.find(name);
  if (found != variables.end()) return found->second;
  unset.push_back(name);
  return {};
}

}  // namespace

std::vector<std::string> expandUnitVariables(const std::string& word,
                                             const UnitVariables& variables,
                                             std::vector<std::string>& unset) {
  const bool isVariableAlone =
      word.size() > 1 && word[0] == '$' && word[1] != '{' && word[1] != '$';
  if (isVariableAlone) {
    std::vector<std::string> texts;
    for (UnitWord& part : splitUnitWords(valueOf(word.substr(1), variables, unset)).words)
      texts.push_back(std::move(part.text));
    return texts;
  }
  std::string text;
  for (std::size_t at = 0; at < word.size();) {
    const std::string_view rest = std::string_view(word).substr(at);
    if (rest.starts_with("$$")) {
      text += '$';
      at += 2;
    } else if (const std::size_t length = bracedLength(rest); length > 0) {
      text += valueOf(std::string(rest.substr(2, length - 3)), variables, unset);
      at += length;
    } else {
      text += word[at++];
    }
  }
  return {text};
}
