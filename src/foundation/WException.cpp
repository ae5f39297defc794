#include "foundation/WException.h"

#include <string>

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
