#include "foundation/TextPieces.h"

bool isPathSeparator(char c) {
  return c == ':' || c == ';';
}

std::vector<std::string_view> pathElements(std::string_view list) {
  std::vector<std::string_view> elements;
  while (!list.empty()) {
    const std::size_t end = list.find_first_of(":;");
    const std::string_view element = list.substr(0, end);
    if (!element.empty()) elements.push_back(element);
    list.remove_prefix(end == std::string_view::npos ? list.size() : end + 1);
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
