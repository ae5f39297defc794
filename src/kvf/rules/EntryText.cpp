#include "kvf/rules/EntryText.h"

#include <utility>

#include "kvf/text/Text.h"

bool EntryText::beginsLine() const {
  const std::size_t start = file_->lineStarts[entry_->at.line - 1];
  const std::string_view before =
      std::string_view(file_->text).substr(start, entry_->at.column - 1);
  return before.find_first_not_of(" \t") == std::string_view::npos;
}

std::optional<std::size_t> EntryText::find(std::string_view text) const {
  const std::size_t first = raw_.find(text);
  const bool isOnly = first != std::string_view::npos && first == raw_.rfind(text);
  return isOnly && !text.empty() ? std::optional(first) : std::nullopt;
}

Position EntryText::placeOf(std::string_view text) const {
  const auto at = find(text);
  if (!at) return entry_->at;
  return stretch(entry_->rawAt + *at, entry_->rawAt + *at + text.size());
}

Position EntryText::placeOfKey() const {
  return hasPlainKey() ? stretch(keyAt(), keyAt() + entry_->key.size()) : entry_->at;
}

bool EntryText::hasPlainKey() const {
  const std::size_t size = entry_->key.size();
  return size < entry_->rawAt && entry_->at == stretch(keyAt(), entry_->rawEnd) &&
         std::string_view(file_->text).substr(keyAt(), size) == entry_->key;
}

Edit EntryText::insert(std::size_t at, std::string text) const {
  return replace(at, at, std::move(text));
}

Edit EntryText::replace(std::size_t start, std::size_t end, std::string text) const {
  return {stretch(entry_->rawAt + start, entry_->rawAt + end), std::move(text)};
}

Edit EntryText::replaceKey(std::string key) const {
  return {placeOfKey(), std::move(key)};
}

Edit EntryText::separateBy(std::string separator, std::size_t valueAt) const {
  return {stretch(entry_->rawAt - 1, entry_->rawAt + valueAt), std::move(separator)};
}

Edit EntryText::insertLineAbove(std::string_view line) const {
  const Position start = {entry_->at.file, entry_->at.line, 1, entry_->at.line, 1};
  const bool isOfWindows = std::string_view(file_->text).substr(entry_->rawEnd).starts_with("\r\n");
  return {start, concat({line, isOfWindows ? "\r\n" : "\n"})};
}
