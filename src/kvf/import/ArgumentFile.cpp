#include "kvf/import/ArgumentFile.h"

#include <utility>

namespace {

bool isSpace(char c) {
  return c == ' ' || c == '\t' || c == '\f' || c == '\n' || c == '\r';
}

bool isLineEnd(char c) {
  return c == '\n' || c == '\r';
}

class Tokenizer {
 public:
  std::vector<ArgumentFileWord> split(std::string_view text) {
    for (const char c : text) {
      take(c);
      if (c == '\n') ++line_;
    }
    if (state_ == State::word || state_ == State::quoted) {
      keep();
      if (!word_.empty()) end();
    }
    return std::move(words_);
  }

 private:
  enum class State { between, comment, word, quoted, escaped, joined };

  void take(char c) {
    switch (state_) {
      case State::comment:
        if (isLineEnd(c)) state_ = State::between;
        return;
      case State::escaped:
        return takeEscaped(c);
      case State::joined:
        if (isSpace(c)) return;
        state_ = State::quoted;
        return takeQuoted(c);
      case State::quoted:
        return takeQuoted(c);
      case State::between:
        if (isSpace(c)) return;
        state_ = State::word;
        if (word_.empty()) began_ = line_;
        return takePlain(c);
      case State::word:
        return takePlain(c);
    }
  }

  void takePlain(char c) {
    if (isSpace(c)) return end();
    if (c == '#') {
      rest_.clear();
      state_ = State::comment;
    } else if (c == '"' || c == '\'') {
      keep();
      quote_ = c;
      state_ = State::quoted;
    } else {
      rest_ += c;
    }
  }

  void takeQuoted(char c) {
    if (isLineEnd(c)) return end();
    if (c == '\\' || c == quote_) {
      keep();
      state_ = c == quote_ ? State::word : State::escaped;
    } else {
      rest_ += c;
    }
  }

  void takeEscaped(char c) {
    state_ = isLineEnd(c) ? State::joined : State::quoted;
    if (isLineEnd(c)) return;
    constexpr std::string_view letters = "nrtf";
    constexpr std::string_view controls = "\n\r\t\f";
    const std::size_t letter = letters.find(c);
    word_ += letter == std::string_view::npos ? c : controls[letter];
  }

  void keep() { word_ += std::exchange(rest_, {}); }

  void end() {
    keep();
    words_.push_back({std::exchange(word_, {}), began_});
    state_ = State::between;
  }

  State state_ = State::between;
  char quote_ = '\0';
  std::size_t line_ = 1;
  std::size_t began_ = 1;
  std::string word_;
  std::string rest_;  ///< what a comment would drop
  std::vector<ArgumentFileWord> words_;
};

}  // namespace

std::vector<ArgumentFileWord> parseArgumentFile(std::string_view text) {
  return Tokenizer().split(text);
}

std::optional<std::vector<std::string>> splitOptionsVariable(std::string_view text) {
  std::vector<std::string> words;
  std::string word;
  bool inWord = false;
  char quote = '\0';
  for (const char c : text) {
    if (quote != '\0') {
      if (c == quote) {
        quote = '\0';
      } else {
        word += c;
      }
    } else if (isSpace(c) || c == '\v') {
      if (inWord) words.push_back(std::exchange(word, {}));
      inWord = false;
    } else {
      inWord = true;
      if (c == '"' || c == '\'') {
        quote = c;
      } else {
        word += c;
      }
    }
  }
  if (quote != '\0') return std::nullopt;
  if (inWord) words.push_back(word);
  return words;
}
