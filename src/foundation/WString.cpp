#include "foundation/WString.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>

namespace {

std::unique_ptr<char[]> allocate(std::size_t capacity) {
  // Lengths and capacities are 32-bit and npos is not one of them.
  if (capacity >= WString::npos) throw WException(WException::getDefaultMemoryException());
  return withMemoryException([&] { return std::unique_ptr<char[]>(new char[capacity + 1]); });
}

std::string_view substringOf(std::string_view source, unsigned int offset, unsigned int count) {
  if (offset > source.size()) {
    // The text is the role and the file name the category: logs have always shown it so.
    throw WException("VELOXUTIL_ERROR_STRING",
                     "Cannot initialize string, offset is beyond end of source string", "WString",
                     "");
  }
  return source.substr(offset, count);
}

unsigned int positionOf(std::size_t found) {
  return found == std::string_view::npos ? WString::npos : static_cast<unsigned int>(found);
}

std::size_t startOf(unsigned int start) {
  return start == WString::npos ? std::string_view::npos : start;
}

}  // namespace

WString::WString(unsigned int capacity) {
  _initCapacity({}, capacity);
}

WString::WString(const char* text) {
  _initCapacity(_viewOf(text), inlineCapacity);
}

WString::WString(std::string_view text) {
  _initCapacity(text, inlineCapacity);
}

WString::WString(const WString& source) {
  _initCapacity(source.view(), inlineCapacity);
}

WString::WString(WString&& source) noexcept {
  *this = std::move(source);
}

WString::WString(const WString& source, unsigned int offset, unsigned int count) {
  _initCapacity(substringOf(source.view(), offset, count), inlineCapacity);
}

WString::WString(const char* source, unsigned int offset, unsigned int count) {
  _initCapacity(substringOf(_viewOf(source), offset, count), inlineCapacity);
}

WString& WString::operator=(const WString& source) {
  if (this != &source) _assign(source.view());
  return *this;
}

WString& WString::operator=(WString&& source) noexcept {
  if (this == &source) return *this;
  if (!source.heap_) std::memcpy(inline_.data(), source.inline_.data(), source.length_ + 1);
  heap_ = std::move(source.heap_);
  capacity_ = std::exchange(source.capacity_, inlineCapacity);
  length_ = source.length_;
  source.clear();
  return *this;
}

WString& WString::operator=(const char* text) {
  _assign(_viewOf(text));
  return *this;
}

WString& WString::operator=(char c) {
  _assign({&c, 1});
  return *this;
}

WString& WString::operator+=(char c) {
  if (length_ == capacity_) _expandCapacity(length_ + std::size_t{1});
  _data()[length_] = c;
  _setLength(length_ + std::size_t{1});
  return *this;
}

bool WString::isEqual(const WString& other) const noexcept {
  return view() == other.view();
}

bool WString::isEqual(const char* text) const noexcept {
  return view() == _viewOf(text);
}

bool WString::isEqual(char c) const noexcept {
  return length_ == 1 && c_str()[0] == c;
}

bool WString::startsWith(std::string_view prefix) const noexcept {
  return view().starts_with(prefix);
}

bool WString::contains(std::string_view text) const noexcept {
  return view().find(text) != std::string_view::npos;
}

unsigned int WString::find(char c, unsigned int start) const noexcept {
  return positionOf(view().find(c, start));
}

unsigned int WString::find(const WString& needle, unsigned int start) const noexcept {
  return positionOf(view().find(needle.view(), start));
}

unsigned int WString::find_cstr(const char* needle, unsigned int start) const noexcept {
  return positionOf(view().find(_viewOf(needle), start));
}

unsigned int WString::find_last_of(char c, unsigned int start) const noexcept {
  return positionOf(view().rfind(c, startOf(start)));
}

unsigned int WString::find_last_of(const WString& needle, unsigned int start) const noexcept {
  if (needle.empty()) return npos;
  return positionOf(view().rfind(needle.view(), startOf(start)));
}

unsigned int WString::find_first_not_of(char c, unsigned int start) const noexcept {
  return positionOf(view().find_first_not_of(c, start == npos ? 0 : start));
}

unsigned int WString::find_last_not_of(char c, unsigned int start) const noexcept {
  return positionOf(view().find_last_not_of(c, startOf(start)));
}

WString WString::substr(unsigned int pos, unsigned int count) const {
  if (pos >= length_ || count == 0) return {};
  return {*this, pos, count};
}

WString& WString::replace(unsigned int pos, unsigned int count, const char* text) {
  if (pos > length_) return *this;
  const std::string_view fresh = _viewOf(text);
  const bool aliases = std::greater_equal<>()(fresh.data(), c_str()) &&
                       std::less_equal<>()(fresh.data(), c_str() + length_);
  if (aliases) return replace(pos, count, WString(fresh).c_str());

  const std::size_t removed = std::min(count, length_ - pos);
  const std::size_t tail = length_ - pos - removed;
  const std::size_t newLength = pos + fresh.size() + tail;
  if (newLength > capacity_) _expandCapacity(newLength);
  char* at = _data() + pos;
  std::memmove(at + fresh.size(), at + removed, tail);
  std::memcpy(at, fresh.data(), fresh.size());
  _setLength(newLength);
  return *this;
}

WString& WString::insert(unsigned int pos, const char* text) {
  return text == nullptr ? *this : replace(pos, 0, text);
}

void WString::clear() noexcept {
  _setLength(0);
}

bool WString::StringToInteger(const WString& text, int& result) {
  result = 0;
  unsigned int at = text.find_first_not_of(' ');
  if (at == npos) return true;
  const bool negative = text[at] == '-';
  if (negative || text[at] == '+') ++at;

  unsigned int value = 0;
  for (const char c : text.view().substr(at)) {
    if (c < '0' || c > '9') {
      result = static_cast<int>(value);
      return false;
    }
    value = value * 10 + static_cast<unsigned int>(c - '0');
  }
  result = static_cast<int>(negative ? 0 - value : value);
  return true;
}

void WString::_initCapacity(std::string_view text, unsigned int capacity) {
  if (capacity <= inlineCapacity && capacity > text.size()) {
    capacity_ = capacity;
  } else {
    heap_ = allocate(text.size() + spareCapacity);
    capacity_ = static_cast<unsigned int>(text.size() + spareCapacity);
  }
  if (!text.empty()) std::memcpy(_data(), text.data(), text.size());
  _setLength(text.size());
}

std::unique_ptr<char[]> WString::_expandCapacity(std::size_t needed) {
  const std::size_t doubled = 2 * (capacity_ + std::size_t{1});
  // Near the 32-bit limit doubling would fail although the text itself still fits.
  const std::size_t capacity = doubled < npos ? std::max(doubled, needed) : needed;
  std::unique_ptr<char[]> buffer = allocate(capacity);
  std::memcpy(buffer.get(), c_str(), length_ + std::size_t{1});
  capacity_ = static_cast<unsigned int>(capacity);
  heap_.swap(buffer);
  return buffer;
}

void WString::_assign(std::string_view text) {
  // A text that is longer than the capacity cannot be part of this string's own buffer.
  if (text.size() > capacity_) _expandCapacity(text.size());
  if (!text.empty()) std::memmove(_data(), text.data(), text.size());
  _setLength(text.size());
}

WString& WString::_append(std::string_view text) {
  if (text.empty()) return *this;
  const std::size_t newLength = length_ + text.size();
  // The text may be part of this string, so the old buffer lives until it is copied.
  std::unique_ptr<char[]> replaced;
  if (newLength > capacity_) replaced = _expandCapacity(newLength);
  std::memmove(_data() + length_, text.data(), text.size());
  _setLength(newLength);
  return *this;
}

WString operator+(WString left, const char* right) {
  left += right;
  return left;
}

WString operator+(WString left, char right) {
  left += right;
  return left;
}

WString operator+(WString left, const WString& right) {
  left += right;
  return left;
}

WException::WException(const WString& code, const WString& role, const WString& category,
                       const WString& description)
    : WException(code, role, category, description, "Unknown file", 0) {}

WException::WException(const WString& code, const WString& role, const WString& category,
                       const WString& description, const WString& fileName, long line)
    : code_(code),
      description_(description),
      fileName_(fileName),
      line_(line),
      role_(role),
      category_(category) {}

bool WException::operator==(const WException& other) const {
  return code_ == other.code_ && role_ == other.role_ && category_ == other.category_;
}

WString WException::getDescription(bool full) const {
  if (!full) return description_;
  return "Code = " + code_ + ", Category = " + category_ + ", Severity = " + role_ +
         ", Description = " + description_ + ", File = " + fileName_ +
         ", line = " + std::to_string(line_).c_str();
}

bool WException::isNull() const {
  return code_.empty() && role_.empty() && category_.empty();
}

const WException& WException::getDefaultMemoryException() {
  static const WException exception("SDKC-OUT_OF_MEMORY", "ERROR", "System",
                                    "Memory allocation failed");
  return exception;
}
