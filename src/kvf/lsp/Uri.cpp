#include "kvf/lsp/Uri.h"

#include <algorithm>

#include "kvf/text/PercentEscapes.h"

namespace {

constexpr std::string_view fileScheme = "file:";
constexpr std::string_view unescaped =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";

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
  std::string path = percentDecoded(uri.substr(0, uri.find_first_of("?#")));
  // No file has a NUL in its name.
  if (!path.starts_with('/') || path.find('\0') != std::string::npos) return std::nullopt;
  return path;
}

std::string uriOfPath(std::string_view path) {
  return "file://" +
         percentEscaped(path, [](char c) { return unescaped.find(c) != std::string_view::npos; });
}

std::string nameInUri(std::string_view uri) {
  std::string name = percentDecoded(uri.substr(uri.find_last_of(":/") + 1));
  std::replace_if(
      name.begin(), name.end(), [](char c) { return c == '/' || c == '\0'; }, '_');
  return name.empty() || name == "." || name == ".." ? "untitled" : name;
}
