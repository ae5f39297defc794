#ifndef VELOX_KVF_LSP_TEXTDOCUMENT_H
#define VELOX_KVF_LSP_TEXTDOCUMENT_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What a client and the server count in a text. The protocol lets a line end with a line feed, a
/// carriage return, or both; some clients know no carriage return alone.
struct TextUnits {
  enum class Character { byte, utf16, codePoint };

  Character character = Character::utf16;
  bool returnEndsLine = true;
};

/// A place in a text as the protocol has it, from 0.
struct TextPlace {
  std::size_t line = 0;
  std::size_t character = 0;

  bool operator==(const TextPlace&) const = default;
};

struct TextRange {
  TextPlace start, end;
};

/// The text of a file as a client sees it. The one place where bytes and the client's positions
/// become each other.
class TextDocument {
 public:
  TextDocument(std::string text, TextUnits units);

  [[nodiscard]] const std::string& text() const { return text_; }

  /// The byte at a place; after the end of a line it is that end, after the last line the end of
  /// the text, and within a character its start.
  [[nodiscard]] std::size_t offsetOf(const TextPlace& place) const;
  /// REQUIRES: offset <= text().size().
  [[nodiscard]] TextPlace placeOf(std::size_t offset) const;
  [[nodiscard]] TextRange rangeOf(std::size_t start, std::size_t end) const {
    return {placeOf(start), placeOf(end)};
  }
  /// The line there, without its end and the blanks before it. REQUIRES: offset <= text().size().
  [[nodiscard]] TextRange lineAt(std::size_t offset) const;

  /// Replaces the text between two places, or everything.
  void replace(const std::optional<TextRange>& range, std::string_view text);

 private:
  [[nodiscard]] std::size_t lineOf(std::size_t offset) const;
  /// Where the line ends. A carriage return before the line feed belongs to the line end, but not
  /// for clients that would count it as a character.
  [[nodiscard]] std::size_t endOf(std::size_t line) const;
  void findLines();

  TextUnits units_;
  std::string text_;
  std::vector<std::size_t> starts_;
};

#endif
