#include "javarun/CommonTool.h"

#include <cstring>

std::vector<WString> CommonTool::splitEx(const WString& text, const WString& separator) {
  std::vector<WString> pieces;
  unsigned int start = 0;
  if (!separator.empty()) {
    for (unsigned int end = 0; (end = text.find(separator, start)) != WString::npos;) {
      pieces.push_back(text.substr(start, end - start));
      start = end + separator.length();
    }
  }
  if (start < text.length()) pieces.push_back(text.substr(start));
  return pieces;
}

bool CommonTool::isContainsSpace(const char* text) {
  return std::strchr(text, ' ') != nullptr;
}
