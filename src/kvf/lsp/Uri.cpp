#include "kvf/lsp/Uri.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr std::string_view fileScheme = "file:";
constexpr std::string_view unescaped =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";

std::string decoded(std::string_view text) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    unsigned code = 0;
    const char* const digits = text.data() + at + 1;
    const bool isEscape = text[at] == '%' && at + 2 < text.size() &&
                          std::from_chars(digits, digits + 2, code, 16).ptr == digits + 2;
    result += isEscape ? static_cast<char>(code) : text[at];
    if (isEscape) at += 2;
  }
  return result;
}

}  // namespace

std::optional<std::string> pathOfUri(std::string_view uri) {
  if (!uri.starts_with(fileScheme)) return std::nullopt;
  uri.remove_prefix(fileScheme.size());
  if (uri.starts_with("//")) {
    const std::size_t path = std::min(uri.find('/', 2), uri.size());
    const std::string_view machine = uri.substr(2, path - 2);
    if (!machine.empty() && machine != "localhost") return std::nullopt;
    uri.remove_prefix(path);
  }
  std::string path = decoded(uri.substr(0, uri.find_first_of("?#")));
  // No file has a NUL in its name.
  if (!path.starts_with('/') || path.find('\0') != std::string::npos) return std::nullopt;
  return path;
}

std::string uriOfPath(std::string_view path) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string uri = "file://";
  for (const char c : path) {
    if (unescaped.find(c) != std::string_view::npos) {
      uri += c;
    } else {
      const auto byte = static_cast<unsigned char>(c);
      uri += {'%', digits[byte >> 4U], digits[byte & 0xFU]};
    }
  }
  return uri;
}

std::string nameInUri(std::string_view uri) {
  std::string name = decoded(uri.substr(uri.find_last_of(":/") + 1));
  std::replace_if(
      name.begin(), name.end(), [](char c) { return c == '/' || c == '\0'; }, '_');
  return name.empty() || name == "." || name == ".." ? "untitled" : name;
}
