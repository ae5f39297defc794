#include "hosting/ModifiedUtf8.h"

#include <cstddef>

namespace {

constexpr char32_t replacementCharacter = 0xFFFD;

struct LeadByte {
  unsigned char first, last;              ///< range of lead bytes
  std::size_t length;                     ///< bytes in the sequence
  unsigned char secondFirst, secondLast;  ///< range of the byte that follows
};

// The second byte's range is what excludes overlong forms and values past U+10FFFF.
constexpr LeadByte leadBytes[] = {
    {0x00, 0x7F, 1, 0x00, 0x00}, {0xC2, 0xDF, 2, 0x80, 0xBF}, {0xE0, 0xE0, 3, 0xA0, 0xBF},
    {0xE1, 0xEF, 3, 0x80, 0xBF}, {0xF0, 0xF0, 4, 0x90, 0xBF}, {0xF1, 0xF3, 4, 0x80, 0xBF},
    {0xF4, 0xF4, 4, 0x80, 0x8F},
};

const LeadByte* findLeadByte(unsigned char byte) {
  for (const LeadByte& lead : leadBytes) {
    if (byte >= lead.first && byte <= lead.last) return &lead;
  }
  return nullptr;
}

/// Java takes an encoded surrogate for one malformed sequence of three bytes.
bool isSurrogate(std::string_view sequence) {
  return static_cast<unsigned char>(sequence[0]) == 0xED &&
         static_cast<unsigned char>(sequence[1]) >= 0xA0;
}

struct Sequence {
  std::size_t length;  ///< bytes that it takes, at least 1
  bool wellFormed;
};

/// The sequence at the start of a text that is not empty. A malformed one is as long as it looks
/// like the beginning of a character.
Sequence firstSequence(std::string_view text) {
  const LeadByte* lead = findLeadByte(static_cast<unsigned char>(text[0]));
  if (lead == nullptr) return {1, false};
  for (std::size_t i = 1; i < lead->length; ++i) {
    if (i == text.size()) return {i, false};
    const auto byte = static_cast<unsigned char>(text[i]);
    const unsigned char first = i == 1 ? lead->secondFirst : 0x80;
    const unsigned char last = i == 1 ? lead->secondLast : 0xBF;
    if (byte < first || byte > last) return {i, false};
  }
  return {lead->length, !isSurrogate(text)};
}

char32_t decodeFourBytes(std::string_view sequence) {
  char32_t codePoint = static_cast<unsigned char>(sequence[0]) & 0x07U;
  for (const char c : sequence.substr(1)) {
    codePoint = codePoint << 6U | (static_cast<unsigned char>(c) & 0x3FU);
  }
  return codePoint;
}

void appendThreeBytes(WString& text, char32_t codeUnit) {
  text += static_cast<char>(0xE0U | codeUnit >> 12U);
  text += static_cast<char>(0x80U | (codeUnit >> 6U & 0x3FU));
  text += static_cast<char>(0x80U | (codeUnit & 0x3FU));
}

void appendSurrogates(WString& text, char32_t codePoint) {
  const char32_t offset = codePoint - 0x10000U;
  appendThreeBytes(text, 0xD800U + (offset >> 10U));
  appendThreeBytes(text, 0xDC00U + (offset & 0x3FFU));
}

}  // namespace

WString toModifiedUtf8(std::string_view utf8) {
  WString modified;
  while (!utf8.empty()) {
    const Sequence sequence = firstSequence(utf8);
    if (!sequence.wellFormed) {
      appendThreeBytes(modified, replacementCharacter);
    } else if (sequence.length == 4) {
      appendSurrogates(modified, decodeFourBytes(utf8.substr(0, 4)));
    } else {
      modified += utf8.substr(0, sequence.length);
    }
    utf8.remove_prefix(sequence.length);
  }
  return modified;
}
