#include "kvf/lsp/TextDocument.h"

#include <algorithm>
#include <utility>

namespace {

using Character = TextUnits::Character;

bool continues(char c) {
  return (static_cast<unsigned>(c) & 0xC0U) == 0x80U;
}

/// The length in bytes of the character that begins there. The text is UTF-8; each byte that is not
/// counts as one.
std::size_t lengthAt(std::string_view text, std::size_t at) {
  const auto first = static_cast<unsigned char>(text[at]);
  const std::size_t expected = first < 0xC0 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  std::size_t length = 1;
  while (length < expected && at + length < text.size() && continues(text[at + length])) ++length;
  return length;
}

std::size_t unitsOf(Character character, std::size_t bytes) {
  switch (character) {
    case Character::byte:
      return bytes;
    case Character::utf16:
      return bytes == 4 ? 2 : 1;
    case Character::codePoint:
      break;
  }
  return 1;
}

}  // namespace

TextDocument::TextDocument(std::string text, TextUnits units)
    : units_(units), text_(std::move(text)) {
  findLines();
}

void TextDocument::findLines() {
  starts_ = {0};
  const char* const ends = units_.returnEndsLine ? "\r\n" : "\n";
  for (std::size_t at = 0; (at = text_.find_first_of(ends, at)) != std::string::npos;) {
    const bool isPair = text_.compare(at, 2, "\r\n") == 0;
    starts_.push_back(at += isPair ? 2 : 1);
  }
}

std::size_t TextDocument::lineOf(std::size_t offset) const {
  const auto after = std::upper_bound(starts_.begin(), starts_.end(), offset);
  return static_cast<std::size_t>(after - starts_.begin()) - 1;
}

std::size_t TextDocument::endOf(std::size_t line) const {
  if (line + 1 == starts_.size()) return text_.size();
  const std::size_t end = starts_[line + 1] - 1;
  const bool isPair = end > starts_[line] && text_[end] == '\n' && text_[end - 1] == '\r';
  return isPair && units_.returnEndsLine ? end - 1 : end;
}

std::size_t TextDocument::offsetOf(const TextPlace& place) const {
  if (place.line >= starts_.size()) return text_.size();
  std::size_t at = starts_[place.line];
  const std::size_t end = endOf(place.line);
  std::size_t left = place.character;
  while (at < end) {
    const std::size_t bytes = lengthAt(text_, at);
    const std::size_t units = unitsOf(units_.character, bytes);
    if (units > left) break;
    left -= units;
    at += bytes;
  }
  return std::min(at, end);
}

TextPlace TextDocument::placeOf(std::size_t offset) const {
  const std::size_t line = lineOf(offset);
  const std::size_t stop = std::min(offset, endOf(line));
  TextPlace place = {line, 0};
  for (std::size_t at = starts_[line]; at < stop;) {
    const std::size_t bytes = lengthAt(text_, at);
    if (at + bytes > stop) break;
    place.character += unitsOf(units_.character, bytes);
    at += bytes;
  }
  return place;
}

TextRange TextDocument::lineAt(std::size_t offset) const {
  const std::size_t line = lineOf(offset);
  std::size_t end = endOf(line);
  if (end > starts_[line] && text_[end - 1] == '\r') --end;
  const std::size_t start = std::min(text_.find_first_not_of(" \t", starts_[line]), end);
  return rangeOf(start, end);
}

void TextDocument::replace(const std::optional<TextRange>& range, std::string_view text) {
  if (range) {
    const std::size_t start = offsetOf(range->start);
    const std::size_t end = std::max(start, offsetOf(range->end));
    text_.replace(start, end - start, text);
  } else {
    text_ = text;
  }
  findLines();
}
