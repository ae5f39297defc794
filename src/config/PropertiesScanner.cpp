#include "config/PropertiesScanner.h"

#include <utility>

namespace {

/// True when the character may stand for more than itself inside a line: a separator, an escape, a
/// line end.
bool isSpecial(char c) {
  switch (c) {
    case ' ':
    case '\t':
    case '=':
    case ':':
    case '\\':
    case '\r':
    case '\n':
      return true;
    default:
      return false;
  }
}

}  // namespace

bool PropertiesScanner::next(PropertiesEntry& entry) {
  while (at_ < text_.size()) {
    const char c = text_[at_++];
    if (c == '\r' || c == '\n') {
      if (endLine(entry, true)) return true;
    } else if (c != '\\') {
      take(c);
    } else if (at_ < text_.size()) {
      takeEscaped(text_[at_++]);
    }
  }
  return endLine(entry, false);
}

void PropertiesScanner::take(char c) {
  const bool blank = c == ' ' || c == '\t';
  const bool separator = blank || c == '=' || c == ':';
  if (state_ == State::key && separator) {
    endKey();
    return;
  }
  if (buffer_.empty() && blank) return;
  if (state_ == State::lineStart) {
    const bool comment = buffer_.empty() && (c == '#' || c == '!');
    state_ = comment ? State::comment : State::key;
    keyAt_ = at_ - 1;
  }
  append(restOfRun());
}

void PropertiesScanner::takeEscaped(char c) {
  const bool control = c == 't' || c == 'r' || c == 'n';
  if (control && state_ != State::comment) observer_.controlEscaped(at_ - 1);
  switch (c) {
    case 't':
      return append("\t");
    case 'r':
      return append("\r");
    case 'n':
      return append("\n");
    case '\r':
    case '\n':
      return;
    default:
      return append({&c, 1});
  }
}

std::string_view PropertiesScanner::restOfRun() {
  const std::size_t start = at_ - 1;
  while (at_ < text_.size() && !isSpecial(text_[at_])) ++at_;
  return text_.substr(start, at_ - start);
}

void PropertiesScanner::append(std::string_view text) {
  if (state_ != State::comment) buffer_ += text;
}

void PropertiesScanner::endKey() {
  key_ = std::move(buffer_);
  valueAt_ = at_;
  state_ = State::value;
}

bool PropertiesScanner::endLine(PropertiesEntry& entry, bool byLineEnd) {
  const bool isEntry = state_ == State::value;
  if (state_ == State::key) observer_.lineDropped(keyAt_);
  state_ = State::lineStart;
  if (!isEntry) {
    buffer_.clear();
    return false;
  }
  // "key = value": the blank has ended the key, so the separator is still in front of the value.
  if (buffer_.startsWith("=")) buffer_.erase(0, 1);
  const std::size_t endAt = byLineEnd ? at_ - 1 : at_;
  entry = {std::move(key_), std::move(buffer_), byLineEnd, keyAt_, valueAt_, endAt};
  return true;
}
