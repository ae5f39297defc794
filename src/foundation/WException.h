#ifndef VELOX_FOUNDATION_WEXCEPTION_H
#define VELOX_FOUNDATION_WEXCEPTION_H

#include <new>
#include <utility>

#include "foundation/WString.h"

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
