#include "config/PropertiesScanner.h"

#include <utility>

#include "config/AssemblyObserver.h"

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
  append(c);
}

void PropertiesScanner::takeEscaped(char c) {
  const bool control = c == 't' || c == 'r' || c == 'n';
  if (observer_ != nullptr && control && state_ != State::comment) {
    observer_->controlEscaped(at_ - 1);
  }
  switch (c) {
    case 't':
      return append('\t');
    case 'r':
      return append('\r');
    case 'n':
      return append('\n');
    case '\r':
    case '\n':
      return;
    default:
      return append(c);
  }
}

void PropertiesScanner::append(char c) {
  if (state_ != State::comment) buffer_ += c;
}

void PropertiesScanner::endKey() {
  key_ = std::exchange(buffer_, {});
  valueAt_ = at_;
  state_ = State::value;
}

bool PropertiesScanner::endLine(PropertiesEntry& entry, bool byLineEnd) {
  const bool isEntry = state_ == State::value;
  if (observer_ != nullptr && state_ == State::key) observer_->lineDropped(keyAt_);
  state_ = State::lineStart;
  WString value = std::exchange(buffer_, {});
  if (!isEntry) return false;

  // "key = value": the blank has ended the key, so the separator is still in front of the value.
  if (value.startsWith("=")) value.erase(0, 1);
  const std::size_t endAt = byLineEnd ? at_ - 1 : at_;
  entry = {std::exchange(key_, {}), std::move(value), byLineEnd, keyAt_, valueAt_, endAt};
  return true;
}
