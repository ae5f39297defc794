#include "kvf/service/EnvironmentFile.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace {

constexpr std::string_view blanks = " \t\r\n";

bool isLineEnd(char c) {
  return c == '\n' || c == '\r';
}

void trimEnd(std::string& text) {
  text.erase(text.find_last_not_of(blanks) + 1);
}

/// Goes through the bytes once; each state is what the next byte is part of.
class Reader {
 public:
  std::vector<EnvironmentEntry> read(std::string_view text) {
    for (const char c : text) {
      take(c);
      if (c == '\n') ++line_;
    }
    if (state_ != State::beforeName && state_ != State::name && state_ != State::comment) end();
    return std::move(entries_);
  }

 private:
  enum class State {
    beforeName,
    name,
    beforeValue,  ///< also after a closing quote
    value,
    escape,
    singleQuotes,
    doubleQuotes,
    doubleQuotesEscape,
    comment
  };

  void take(char c) {
    switch (state_) {
      case State::beforeName:
        if (c == '#' || c == ';') {
          state_ = State::comment;
        } else if (blanks.find(c) == std::string_view::npos) {
          state_ = State::name;
          name_ = c;
          nameLine_ = line_;
        }
        break;
      case State::name:
        if (isLineEnd(c)) {
          state_ = State::beforeName;
        } else if (c == '=') {
          state_ = State::beforeValue;
          value_.clear();
        } else {
          name_ += c;
        }
        break;
      case State::beforeValue:
        takeBeforeValue(c);
        break;
      case State::value:
        if (isLineEnd(c)) {
          trimEnd(value_);
          end();
        } else if (c == '\\') {
          state_ = State::escape;
        } else {
          value_ += c;
        }
        break;
      case State::escape:
        state_ = State::value;
        if (!isLineEnd(c)) value_ += c;
        break;
      case State::singleQuotes:
        if (c == '\'') {
          state_ = State::beforeValue;
        } else {
          value_ += c;
        }
        break;
      case State::doubleQuotes:
        if (c == '"') {
          state_ = State::beforeValue;
        } else if (c == '\\') {
          state_ = State::doubleQuotesEscape;
        } else {
          value_ += c;
        }
        break;
      case State::doubleQuotesEscape:
        state_ = State::doubleQuotes;
        if (std::string_view("\"\\`$").find(c) != std::string_view::npos) {
          value_ += c;
        } else if (c != '\n') {
          value_ += {'\\', c};
        }
        break;
      case State::comment:
        if (isLineEnd(c)) state_ = State::beforeName;
        break;
    }
  }

  void takeBeforeValue(char c) {
    if (isLineEnd(c)) {
      end();
    } else if (c == '\'') {
      state_ = State::singleQuotes;
    } else if (c == '"') {
      state_ = State::doubleQuotes;
    } else if (c == '\\') {
      state_ = State::escape;
    } else if (blanks.find(c) == std::string_view::npos) {
      state_ = State::value;
      value_ += c;
    }
  }

  void end() {
    if (state_ == State::value) trimEnd(value_);
    state_ = State::beforeName;
    trimEnd(name_);
    const bool allowed = isVariableName(name_);
    entries_.push_back({name_, value_, nameLine_, allowed});
  }

  State state_ = State::beforeName;
  std::string name_, value_;
  std::size_t line_ = 1;
  std::size_t nameLine_ = 1;
  std::vector<EnvironmentEntry> entries_;
};

}  // namespace

std::vector<EnvironmentEntry> parseEnvironmentFile(std::string_view text) {
  return Reader().read(text);
}

bool isVariableName(std::string_view name) {
  if (name.empty() || std::isdigit(static_cast<unsigned char>(name[0])) != 0) return false;
  return std::all_of(name.begin(), name.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
  });
}
