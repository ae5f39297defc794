// Bytes for JNI: well-formed whatever they were, with U+FFFD where Java's own decoder has it.

#include "Fuzzing.h"
#include "hosting/ModifiedUtf8.h"

namespace {

void append(unsigned int unit, std::string& text) {
  if (unit < 0x80) {
    text += static_cast<char>(unit);
  } else if (unit < 0x800) {
    text += static_cast<char>(0xC0 | unit >> 6U);
  } else {
    text += static_cast<char>(0xE0 | unit >> 12U);
    text += static_cast<char>(0x80 | (unit >> 6U & 0x3FU));
  }
  if (unit >= 0x80) text += static_cast<char>(0x80 | (unit & 0x3FU));
}

/// Whether bytes can still follow that make a character of `length` bytes out of the first bits.
bool canBecomeCharacter(unsigned int bits, std::size_t missing, std::size_t length) {
  constexpr unsigned int least[] = {0, 0, 0x80, 0x800, 0x10000};
  const unsigned int first = bits << 6 * missing;
  const unsigned int last = first + (1U << 6 * missing) - 1;
  return last >= least[length] && first <= 0x10FFFF;
}

std::string model(std::string_view text) {
  std::string encoded;
  while (!text.empty()) {
    const unsigned int lead = static_cast<unsigned char>(text[0]);
    const std::size_t length = lead < 0x80   ? 1
                               : lead < 0xC0 ? 0
                               : lead < 0xE0 ? 2
                               : lead < 0xF0 ? 3
                                             : 4;
    constexpr unsigned int marks[] = {0, 0, 0xC0, 0xE0, 0xF0};
    unsigned int bits = lead - marks[length];
    std::size_t taken = 1;
    bool possible = length == 1 || (length > 1 && canBecomeCharacter(bits, length - 1, length));
    while (possible && taken < length) {
      const unsigned int byte = taken < text.size() ? static_cast<unsigned char>(text[taken]) : 0;
      const unsigned int more = bits << 6U | (byte & 0x3FU);
      possible = byte >> 6U == 2 && canBecomeCharacter(more, length - taken - 1, length);
      if (!possible) break;
      bits = more;
      ++taken;
    }
    if (!possible || (bits >= 0xD800 && bits <= 0xDFFF)) bits = 0xFFFD;
    if (bits > 0xFFFF) {
      append(0xD800 + ((bits - 0x10000) >> 10U), encoded);
      bits = 0xDC00 + ((bits - 0x10000) & 0x3FFU);
    }
    append(bits, encoded);
    text.remove_prefix(taken);
  }
  return encoded;
}

}  // namespace

void fuzz(std::string_view input) {
  const std::string text = upToNul(input);
  requireSame("bytes for JNI", model(text), textOf(toModifiedUtf8(text)));
}
