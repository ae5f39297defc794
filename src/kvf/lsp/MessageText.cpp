#include "kvf/lsp/MessageText.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string_view>
#include <utility>

namespace {

/// No message of the protocol is nested so deep.
constexpr std::size_t maxDepth = 200;

bool isTooDeep(std::string_view json) {
  std::size_t depth = 0;
  bool inString = false;
  for (std::size_t at = 0; at < json.size(); ++at) {
    const char c = json[at];
    if (inString) {
      if (c == '\\') ++at;
      inString = c != '"';
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > maxDepth) return true;
    } else if (c == ']' || c == '}') {
      depth -= std::min<std::size_t>(depth, 1);
    }
  }
  return false;
}

/// With escapes of U+FFFD for those of halves of UTF-16 pairs: it counts as much.
std::string withoutHalves(std::string json) {
  const auto half = [&](std::size_t at, std::string_view second) {
    return json.compare(at, 2, "\\u") == 0 && at + 5 < json.size() &&
           std::tolower(json[at + 2]) == 'd' &&
           second.find(static_cast<char>(std::tolower(json[at + 3]))) != std::string_view::npos;
  };
  for (std::size_t at = 0; (at = json.find('\\', at)) != std::string::npos;) {
    const bool isFirst = half(at, "89ab");
    if (isFirst && half(at + 6, "cdef")) {
      at += 12;
    } else if (isFirst || half(at, "cdef")) {
      json.replace(at, 6, "\\ufffd");
      at += 6;
    } else {
      at += 2;
    }
  }
  return json;
}

}  // namespace

Json parsedMessage(const std::string& text) {
  if (isTooDeep(text)) throw ResponseError(ErrorCode::parseError, "nested too deep");
  try {
    return Json::parse(withoutHalves(text));
  } catch (const Json::exception& error) {
    throw ResponseError(ErrorCode::parseError, error.what());
  }
}
