#include "javarun/ClassPath.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "foundation/TextPieces.h"
#include "logging/Logging.h"
#include "platform/ArchiveListing.h"

namespace {

constexpr std::string_view recursiveMark = "**";
constexpr std::size_t recursiveMarkWithSlash = 3;

int readLimit(const SimpleProperties& props, const ArchiveLimit& limit) {
  if (const std::optional<int> value = limit.in(props)) return *value;
  Logging::FatalError(limit.fatalText);
}

bool namesArchive(std::string_view entry) {
  const auto holds = [&](const char* extension) {
    return entry.find(extension) != std::string_view::npos;
  };
  return holds(".zip") || holds(".jar") || holds(".class");
}

bool belongsOnClassPath(std::string_view archive) {
  // ".clas" can only match names such as "x.jar.clas": class files are not in the listing.
  return archive.ends_with(".jar") || archive.ends_with(".zip") || archive.ends_with(".clas");
}

/// A directory that is searched for archives.
ClassPathEntry searchedEntry(std::string_view path) {
  ClassPathEntry entry = {.path = WString(path), .isSearched = true};
  entry.isRecursive = path.ends_with(recursiveMark);
  if (entry.isRecursive) path.remove_suffix(std::min(path.size(), recursiveMarkWithSlash));
  entry.directory = WString(path);
  return entry;
}

void search(ClassPathEntry& entry) {
  entry.archives = listArchives(entry.directory.c_str(),
                                static_cast<std::size_t>(CommonConfig::libNumberOfOnePath),
                                entry.isRecursive ? CommonConfig::searchLevel : 1);
  std::erase_if(entry.archives,
                [](const WString& archive) { return !belongsOnClassPath(archive.view()); });
}

}  // namespace

int CommonConfig::searchLevel = searchLevelLimit.standard;
int CommonConfig::libNumberOfOnePath = archiveCountLimit.standard;

std::optional<int> ArchiveLimit::in(const Properties& properties) const {
  WString text;
  if (!properties.get(key, text)) return standard;
  const long number = std::strtol(text.c_str(), nullptr, 10);
  if (number < 1 || number > max) return std::nullopt;
  return static_cast<int>(number);
}

void CommonConfig::initConfig(const SimpleProperties& props) {
  searchLevel = readLimit(props, searchLevelLimit);
  libNumberOfOnePath = readLimit(props, archiveCountLimit);
}

std::vector<ClassPathEntry> classPathEntries(std::string_view list) {
  std::vector<ClassPathEntry> entries;
  for (const std::string_view element : pathElements(list)) {
    const std::string_view path = withoutTrailingSlash(element);
    // "/" alone names nothing.
    if (path.empty()) continue;
    entries.push_back(namesArchive(path) ? ClassPathEntry{.path = WString(path)}
                                         : searchedEntry(path));
  }
  return entries;
}

std::vector<ClassPathEntry> expandedClassPath(std::string_view list) {
  std::vector<ClassPathEntry> entries = classPathEntries(list);
  for (ClassPathEntry& entry : entries) {
    if (entry.isSearched) search(entry);
  }
  return entries;
}

WString joinedClassPath(const std::vector<ClassPathEntry>& entries) {
  WString text;
  for (const ClassPathEntry& entry : entries) {
    text += entry.path + ':';
    for (const WString& archive : entry.archives) text += archive + ':';
  }
  return text;
}

ClassPath ClassPath::of(const Properties& properties) {
  WString value;
  if (properties.get(keys::classPathExtended, value)) {
    return {ClassPathSource::extended, joinedClassPath(expandedClassPath(value.view()))};
  }
  if (properties.get(keys::classPath, value)) return {ClassPathSource::plain, value};
  const char* inherited = std::getenv("CLASSPATH");
  if (inherited != nullptr) return {ClassPathSource::environment, inherited};
  return {ClassPathSource::none, "."};
}

WString CommonTool::expandDirToClassPath(const WString& dir) {
  ClassPathEntry entry = searchedEntry(dir.view());
  search(entry);
  WString classPath = joinedClassPath({std::move(entry)});
  return classPath.erase(classPath.length() - 1);
}

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
