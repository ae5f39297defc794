#include "kvf/cds/ArchivableClassPath.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <set>
#include <string_view>
#include <system_error>

#include "kvf/formats/Archive.h"
#include "kvf/formats/ArchiveWriter.h"
#include "kvf/formats/Manifest.h"
#include "kvf/process/FileError.h"
#include "kvf/process/FileReading.h"
#include "kvf/process/FolderFiles.h"
#include "kvf/text/PropertiesSpelling.h"
#include "kvf/text/Text.h"
#include "platform/ArchiveListing.h"

namespace fs = std::filesystem;

namespace {

// A value may refer to 100 variables.
constexpr std::ptrdiff_t maxReferences = 90;

/// True when a class path does not need the folder in addition to the archives in it.
bool holdsArchivesOnly(const fs::path& folder) {
  const std::vector<std::string> names = namesIn(folder);
  return std::all_of(names.begin(), names.end(), [&](const std::string& name) {
    std::error_code error;
    return isArchiveFileName(name) && fs::is_regular_file(folder / name, error);
  });
}

}  // namespace

std::vector<std::string> withNamedArchives(const std::vector<std::string>& classPath) {
  std::vector<std::vector<std::string>> named(classPath.size());
  forEachNamed(classPath, [&](std::size_t by, const ManifestElement& element) {
    std::error_code error;
    if (element.isAbsolute && fs::is_regular_file(element.path, error))
      named[by].push_back(element.path);
    return true;
  });
  std::vector<std::string> all;
  for (std::size_t i = 0; i < classPath.size(); ++i) {
    all.push_back(classPath[i]);
    all.insert(all.end(), named[i].begin(), named[i].end());
  }
  return all;
}

bool isFolderWithFiles(const fs::path& path) {
  std::error_code error;
  return fs::is_directory(path, error) && !fs::is_empty(path, error);
}

std::vector<std::string> foldersOfClasses(const std::vector<std::string>& classPath) {
  std::vector<std::string> folders;
  std::copy_if(classPath.begin(), classPath.end(), std::back_inserter(folders),
               [](const std::string& element) {
                 return isFolderWithFiles(element) && !holdsArchivesOnly(element);
               });
  return folders;
}

std::string classPathOfArchives(const std::vector<std::string>& classPath, const fs::path& folder,
                                const std::map<std::string, std::string>& made) {
  std::vector<std::string> archives;
  std::vector<std::string> folders;
  for (const std::string& element : classPath) {
    const auto archive = made.find(element);
    if (archive != made.end()) {
      archives.push_back(archive->second);
    } else if (!isFolderWithFiles(element)) {
      archives.push_back(element);
    } else if (!holdsArchivesOnly(element)) {
      folders.push_back(element);
    }
  }
  archives.insert(archives.end(), folders.begin(), folders.end());
  const std::string start = folder.string() + "/";
  const auto below = std::count_if(archives.begin(), archives.end(), [&](const std::string& path) {
    return path.starts_with(start);
  });
  std::string value;
  for (const std::string& path : archives) {
    if (!value.empty()) value += ':';
    const bool relative = below <= maxReferences && path.starts_with(start);
    value +=
        relative ? "%kvf.file.dir%/" + spelledPart(path.substr(start.size())) : spelledPart(path);
  }
  return value;
}

std::vector<std::string> changedByOrder(const std::vector<std::string>& classPath) {
  constexpr std::size_t enough = 20;
  std::vector<std::string> changed;
  for (auto element = classPath.begin(); element != classPath.end(); ++element) {
    if (!isFolderWithFiles(*element)) continue;
    const std::vector<std::string> names = filesBelow(*element);
    for (auto other = element + 1; other != classPath.end(); ++other) {
      const Archive archive(*other);
      for (const std::string& name : names) {
        if (changed.size() < enough && archive.contains(name))
          changed.push_back(concat({name, " (from ", fs::path(*other).filename().native(), ")"}));
      }
    }
  }
  return changed;
}

std::string archiveOfFolder(const fs::path& folder) {
  ArchiveWriter archive;
  const auto add = [&](std::string_view name, std::string_view content) {
    if (!archive.add(name, content))
      throw FileError(concat({folder.native(), " is too large for an archive"}));
  };
  // What searches a package for its classes finds it by the entry of its folder.
  std::set<std::string, std::less<>> folders;
  for (const std::string& name : filesBelow(folder)) {
    for (std::size_t at = 0; (at = name.find('/', at)) != std::string::npos;) {
      const std::string outer = name.substr(0, ++at);
      if (folders.insert(outer).second) add(outer, {});
    }
    add(name, readWhole(folder / name));
  }
  return std::move(archive).finish();
}
