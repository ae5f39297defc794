#include "kvf/text/PercentEscapes.h"

#include <charconv>
#include <cstddef>

std::string percentEscaped(std::string_view text, const std::function<bool(char)>& isPlain) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string result;
  for (const char c : text) {
    if (isPlain(c)) {
      result += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    result += {'%', digits[byte >> 4U], digits[byte & 0xFU]};
  }
  return result;
}

std::string percentDecoded(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    unsigned char byte = 0;
    const char* const digits = text.data() + at + 1;
    const bool isEscape = text[at] == '%' && at + 2 < text.size() &&
                          std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2;
    result += isEscape ? static_cast<char>(byte) : text[at];
    if (isEscape) at += 2;
  }
  return result;
}
