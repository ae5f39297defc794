#include "kvf/launch/ClassPathScan.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

#include <strings.h>

#include "kvf/formats/ClassNames.h"
#include "kvf/formats/Manifest.h"
#include "kvf/text/Text.h"

namespace {

namespace fs = std::filesystem;

constexpr std::string_view classSuffix = ".class";
constexpr std::size_t maxNames = 50000;

std::string entryName(std::string name) {
  std::replace(name.begin(), name.end(), '.', '/');
  return name + std::string(classSuffix);
}

std::optional<std::string> readFile(const fs::path& path) {
  std::error_code error;
  const std::uintmax_t size = fs::file_size(path, error);
  if (error || size > Archive::defaultMaxBytes) return std::nullopt;
  std::ifstream file(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << file.rdbuf();
  if (!file) return std::nullopt;
  return std::move(bytes).str();
}

/// The entry that some releases of Java read in the place of this one, which is not there.
std::optional<std::string> readOfRelease(const Archive& archive, const std::string& entry) {
  constexpr int first = 9, last = 99;
  for (int release = first; release <= last; ++release) {
    const std::string name = concat({"META-INF/versions/", std::to_string(release), "/", entry});
    if (!archive.contains(name)) continue;
    const Manifest manifest = parseManifest(archive.read(manifestEntry).value_or(""));
    return ::strcasecmp(attributeOf(manifest, "Multi-Release").c_str(), "true") == 0
               ? archive.read(name)
               : std::nullopt;
  }
  return std::nullopt;
}

std::optional<FoundClass> findIn(const Archive& archive, const std::string& path,
                                 const std::string& entry) {
  auto bytes = archive.contains(entry) ? archive.read(entry) : readOfRelease(archive, entry);
  if (!bytes) return std::nullopt;
  return FoundClass{path, std::move(*bytes)};
}

std::optional<FoundClass> findIn(const ScannedElement& element, const std::string& entry) {
  using Kind = ScannedElement::Kind;
  if (element.kind == Kind::archive) return findIn(Archive(element.path), element.path, entry);
  if (element.kind != Kind::folder) return std::nullopt;
  auto bytes = readFile(fs::path(element.path) / entry);
  if (!bytes) return std::nullopt;
  return FoundClass{element.path, std::move(*bytes)};
}

ScannedElement elementAt(const std::string& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (error || !fs::exists(status)) return {path, ScannedElement::Kind::missing};
  if (fs::is_directory(status)) return {path, ScannedElement::Kind::folder};
  return {path, ScannedElement::Kind::archive};
}

std::string_view simpleName(std::string_view name) {
  return name.substr(name.rfind('/') + 1);
}

}  // namespace

ClassPathScan::ClassPathScan(const std::vector<ClassPathElement>& classPath,
                             const std::string& directory, const std::string& startClass,
                             bool hasEmptyElement) {
  const std::string entry = startClass.empty() ? std::string() : entryName(startClass);
  for (const ClassPathElement& element : classPath) {
    for (const std::string& expanded : element.expanded) {
      const bool absolute = expanded.starts_with('/');
      ScannedElement scanned = elementAt(absolute ? expanded : concat({directory, "/", expanded}));
      if (scanned.kind == ScannedElement::Kind::archive) {
        const Archive archive(scanned.path);
        scanned.state = archive.state();
        scanned.entries = archive.size();
        if (!startClass_ && !entry.empty()) startClass_ = findIn(archive, scanned.path, entry);
      } else if (!startClass_ && !entry.empty()) {
        startClass_ = findIn(scanned, entry);
      }
      elements_.push_back(std::move(scanned));
    }
  }
  if (hasEmptyElement) directory_ = elementAt(directory);
  if (!startClass_ && !entry.empty()) startClass_ = findBehind(entry);
}

std::optional<FoundClass> ClassPathScan::find(const std::string& name) const {
  const std::string entry = entryName(name);
  for (const ScannedElement& element : elements_) {
    if (auto found = findIn(element, entry)) return found;
  }
  return findBehind(entry);
}

std::optional<FoundClass> ClassPathScan::findBehind(const std::string& entry) const {
  auto found = findByManifests(entry);
  return !found && directory_ ? findIn(*directory_, entry) : found;
}

std::optional<FoundClass> ClassPathScan::findByManifests(const std::string& entry) const {
  std::vector<std::string> paths;
  for (const ScannedElement& element : elements_) paths.push_back(element.path);
  std::optional<FoundClass> found;
  forEachNamed(paths, [&](std::size_t /*by*/, const ManifestElement& element) {
    found = findIn(elementAt(element.path), entry);
    return !found;
  });
  return found;
}

std::string ClassPathScan::nearest(const std::string& name) const {
  std::string wanted = entryName(name);
  wanted.resize(wanted.size() - classSuffix.size());
  std::string best;
  std::size_t left = maxNames;
  for (const ScannedElement& element : elements_) {
    if (element.kind == ScannedElement::Kind::missing) continue;
    forEachClass(element.path, element.kind == ScannedElement::Kind::folder,
                 [&](std::string_view candidate) {
                   // The same class in another package is the likeliest mistake.
                   const bool samePlace = simpleName(candidate) == simpleName(wanted);
                   if (samePlace || nearestName(wanted, {best, candidate}) == candidate)
                     best = candidate;
                   return !samePlace && --left > 0;
                 });
    if (left == 0 || (!best.empty() && simpleName(best) == simpleName(wanted))) break;
  }
  std::replace(best.begin(), best.end(), '/', '.');
  return best;
}
