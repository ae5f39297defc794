#include "foundation/TextPieces.h"

#include <algorithm>
#include <cstddef>

bool isPathSeparator(char c) {
  return c == ':' || c == ';';
}

std::vector<std::string_view> pathElements(std::string_view list) {
  std::vector<std::string_view> elements;
  while (!list.empty()) {
    const auto* const end = std::find_if(list.begin(), list.end(), isPathSeparator);
    const auto length = static_cast<std::size_t>(end - list.begin());
    if (length > 0) elements.push_back(list.substr(0, length));
    list.remove_prefix(std::min(length + 1, list.size()));
  }
  return elements;
}

std::string_view withoutTrailingSlash(std::string_view path) {
  if (path.ends_with('/') || path.ends_with('\\')) path.remove_suffix(1);
  return path;
}

WString GetBinaryNameFromPath(const WString& path) {
  WString name(afterLast(path.view(), '/'));
  // A position of npos changes nothing.
  return name.erase(name.find_cstr(".exe"), 4);
}
