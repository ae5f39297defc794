#ifndef VELOX_FOUNDATION_WSTRING_H
#define VELOX_FOUNDATION_WSTRING_H

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>

/// The one string type of the launcher: a NUL-terminated text with 32-bit length and capacity.
/// Short texts live in an inline buffer, longer ones on the heap with room to spare.
///
/// Embedded NULs are not supported: counted texts and single characters must not bring any.
/// Comparisons are byte-exact and case-sensitive. Searches return `npos` on failure.
/// Exhausted memory throws WException::getDefaultMemoryException().
class WString {
 public:
  static constexpr unsigned int npos = 0xFFFFFFFFU;

  WString() noexcept { inline_[0] = '\0'; }
  /// The empty string; a capacity of 1 to 64 is kept, any other gives 64 on the heap. It does not
  /// format a number.
  explicit WString(unsigned int capacity);
  /// A null pointer gives the empty string.
  WString(const char* text);
  explicit WString(std::string_view text);
  WString(const WString& source);
  /// Leaves `source` empty.
  WString(WString&& source) noexcept;
  /// The substring of up to `count` characters from `offset`; throws WException when `offset` lies
  /// beyond the end of the source.
  WString(const WString& source, unsigned int offset, unsigned int count);
  WString(const char* source, unsigned int offset, unsigned int count);
  ~WString() = default;

  WString& operator=(const WString& source);
  WString& operator=(WString&& source) noexcept;
  WString& operator=(const char* text);
  WString& operator=(char c);

  WString& operator+=(const WString& text) { return _append(text.view()); }
  WString& operator+=(const char* text) { return _append(_viewOf(text)); }
  WString& operator+=(std::string_view text) { return _append(text); }
  WString& operator+=(char c);

  [[nodiscard]] const char* c_str() const noexcept { return heap_ ? heap_.get() : inline_.data(); }
  [[nodiscard]] unsigned int length() const noexcept { return length_; }
  [[nodiscard]] bool empty() const noexcept { return length_ == 0; }
  /// Characters that fit without growing; the terminating NUL is extra.
  [[nodiscard]] unsigned int capacity() const noexcept { return capacity_; }
  [[nodiscard]] std::string_view view() const noexcept { return {c_str(), length_}; }
  /// REQUIRES: index <= length().
  [[nodiscard]] char operator[](unsigned int index) const noexcept { return c_str()[index]; }

  [[nodiscard]] bool isEqual(const WString& other) const noexcept;
  /// A null text equals only the empty string.
  [[nodiscard]] bool isEqual(const char* text) const noexcept;
  [[nodiscard]] bool isEqual(char c) const noexcept;
  [[nodiscard]] bool startsWith(std::string_view prefix) const noexcept;
  [[nodiscard]] bool contains(std::string_view text) const noexcept;

  [[nodiscard]] unsigned int find(char c, unsigned int start = 0) const noexcept;
  [[nodiscard]] unsigned int find(const WString& needle, unsigned int start = 0) const noexcept;
  [[nodiscard]] unsigned int find_cstr(const char* needle, unsigned int start = 0) const noexcept;
  /// The last `c` at or before `start`: a reverse find of one character, not a set search.
  [[nodiscard]] unsigned int find_last_of(char c, unsigned int start = npos) const noexcept;
  /// The last position at or before `start` where the whole needle begins.
  [[nodiscard]] unsigned int find_last_of(const WString& needle,
                                          unsigned int start = npos) const noexcept;
  /// A `start` of npos counts as 0.
  [[nodiscard]] unsigned int find_first_not_of(char c, unsigned int start = 0) const noexcept;
  [[nodiscard]] unsigned int find_last_not_of(char c, unsigned int start = npos) const noexcept;

  /// The empty string when `pos` is not below the length.
  [[nodiscard]] WString substr(unsigned int pos, unsigned int count = npos) const;
  /// A `pos` beyond the length changes nothing. REQUIRES: text is not null.
  WString& replace(unsigned int pos, unsigned int count, const char* text);
  WString& erase(unsigned int pos, unsigned int count = npos) { return replace(pos, count, ""); }
  /// A null text changes nothing.
  WString& insert(unsigned int pos, const char* text);
  /// Back to the empty string; the capacity stays.
  void clear() noexcept;

  /// Converts optional blanks, an optional sign and decimal digits; 32-bit arithmetic that wraps.
  /// No digits at all is 0. False at the first character that is not a digit, with the value so
  /// far, not negated, in `result`.
  static bool StringToInteger(const WString& text, int& result);

 private:
  static constexpr unsigned int inlineCapacity = 64;
  static constexpr unsigned int spareCapacity = 64;

  static std::string_view _viewOf(const char* text) noexcept {
    return text == nullptr ? std::string_view() : std::string_view(text);
  }
  char* _data() noexcept { return heap_ ? heap_.get() : inline_.data(); }
  void _initCapacity(std::string_view text, unsigned int capacity);
  /// Returns the heap buffer that it replaces, if any.
  std::unique_ptr<char[]> _expandCapacity(std::size_t needed);
  void _assign(std::string_view text);
  WString& _append(std::string_view text);
  void _setLength(std::size_t length) noexcept {
    length_ = static_cast<unsigned int>(length);
    _data()[length] = '\0';
  }

  std::unique_ptr<char[]> heap_;
  unsigned int length_ = 0;
  unsigned int capacity_ = inlineCapacity;
  std::array<char, inlineCapacity + 1> inline_;  // what follows the text is never read
};

inline bool operator==(const WString& a, const WString& b) noexcept {
  return a.isEqual(b);
}
inline bool operator==(const WString& a, const char* b) noexcept {
  return a.isEqual(b);
}

template <>
struct std::hash<WString> {
  std::size_t operator()(const WString& text) const {
    return std::hash<std::string_view>()(text.view());
  }
};

/// A null text gives a copy of the left side.
WString operator+(WString left, const char* right);
WString operator+(WString left, char right);
WString operator+(WString left, const WString& right);

/// The one error record that is thrown: for a substring offset out of range and for exhausted
/// memory. Every other failure is a return value or a fatal message.
class WException {
 public:
  WException() = default;
  /// File name "Unknown file", line 0.
  WException(const WString& code, const WString& role, const WString& category,
             const WString& description);
  WException(const WString& code, const WString& role, const WString& category,
             const WString& description, const WString& fileName, long line);
  WException(const WException&) = default;
  WException& operator=(const WException&) = default;
  virtual ~WException() = default;

  /// Equal when code, role and category are; description, file and line do not count.
  virtual bool operator==(const WException& other) const;
  [[nodiscard]] virtual const WString& getErrorCode() const { return code_; }
  [[nodiscard]] virtual const WString& getCategory() const { return category_; }
  /// The role, which texts show as the severity.
  [[nodiscard]] virtual const WString& getRole() const { return role_; }
  /// The description alone, or with `full` every field in one line.
  [[nodiscard]] virtual WString getDescription(bool full) const;
  [[nodiscard]] virtual const WString& getFileName() const { return fileName_; }
  [[nodiscard]] virtual long getLine() const { return line_; }
  [[nodiscard]] virtual bool isNull() const;
  [[nodiscard]] virtual bool isCode(const WString& code) const { return code_.isEqual(code); }
  [[nodiscard]] virtual WString toWString() const { return getDescription(true); }
  [[nodiscard]] virtual WString getClassName() const { return "WException"; }

  /// The record that stands for exhausted memory, made on first use; throw a copy of it.
  static const WException& getDefaultMemoryException();

 private:
  WString code_;
  WString description_;
  WString fileName_;
  long line_ = 0;
  WString role_;
  WString category_;
};

/// Returns make(), with an exhausted heap reported as the default memory exception.
template <class Make>
auto withMemoryException(Make&& make) {
  try {
    return std::forward<Make>(make)();
  } catch (const std::bad_alloc&) {
    throw WException(WException::getDefaultMemoryException());
  }
}

#endif
