#include "kvf/formats/Manifest.h"

#include <algorithm>
#include <sstream>
#include <unordered_set>

#include <strings.h>

#include "kvf/formats/Archive.h"
#include "kvf/text/PercentEscapes.h"

namespace {

constexpr std::size_t maxManifestBytes = std::size_t{1} << 20U;

/// The next line without its end, which may be any of the three.
std::string_view takeLine(std::string_view& text) {
  const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
  const std::string_view line = text.substr(0, end);
  const std::size_t endLength = text.substr(end).starts_with("\r\n") ? 2 : 1;
  text.remove_prefix(std::min(end + endLength, text.size()));
  return line;
}

std::string trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(" \t");
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(" \t") - first + 1));
}

std::string pathOfUrl(std::string_view url) {
  if (url.starts_with("file:")) url.remove_prefix(5);
  if (url.starts_with("//")) url.remove_prefix(2);
  return percentDecoded(url);
}

/// Follows manifests from archive to archive.
class NamedFiles {
 public:
  using Visit = std::function<bool(std::size_t by, const ManifestElement& element)>;

  NamedFiles(const std::vector<std::string>& archives, const Visit& visit)
      : seen_(archives.begin(), archives.end()), visit_(visit) {}

  /// False when it is to end.
  bool follow(const std::filesystem::path& archive, std::size_t by) {
    for (const ManifestElement& element : manifestClassPath(archive)) {
      if (!seen_.insert(element.path.native()).second) continue;
      if (left_-- == 0 || !visit_(by, element) || !follow(element.path, by)) return false;
    }
    return true;
  }

 private:
  std::size_t left_ = 1000;
  std::unordered_set<std::string> seen_;
  const Visit& visit_;
};

}  // namespace

bool AttributeOrder::operator()(const std::string& left, const std::string& right) const {
  return ::strcasecmp(left.c_str(), right.c_str()) < 0;
}

Manifest parseManifest(std::string_view text) {
  Manifest manifest;
  while (!text.empty()) {
    std::string line(takeLine(text));
    if (line.empty()) break;
    while (text.starts_with(' ')) line += takeLine(text).substr(1);
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    manifest[line.substr(0, colon)] = trimmed(std::string_view(line).substr(colon + 1));
  }
  return manifest;
}

Manifest manifestOf(const std::filesystem::path& archive) {
  return parseManifest(Archive(archive).read(manifestEntry, maxManifestBytes).value_or(""));
}

std::vector<ManifestElement> manifestClassPath(const std::filesystem::path& archive) {
  std::vector<ManifestElement> elements;
  std::istringstream urls(attributeOf(manifestOf(archive), "Class-Path"));
  for (std::string url; urls >> url;) {
    const std::filesystem::path path = pathOfUrl(url);
    elements.push_back({url, archive.parent_path() / path, path.is_absolute()});
  }
  return elements;
}

void forEachNamed(const std::vector<std::string>& archives, const NamedFiles::Visit& visit) {
  NamedFiles named(archives, visit);
  for (std::size_t i = 0; i < archives.size(); ++i) {
    if (!named.follow(archives[i], i)) return;
  }
}

std::string attributeOf(const Manifest& manifest, const std::string& name) {
  const auto found = manifest.find(name);
  return found == manifest.end() ? std::string() : found->second;
}
