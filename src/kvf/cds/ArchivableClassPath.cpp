#include "kvf/cds/ArchivableClassPath.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <system_error>

#include "kvf/formats/Archive.h"
#include "kvf/formats/ArchiveWriter.h"
#include "kvf/formats/Manifest.h"
#include "kvf/process/Files.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

// A value may refer to 100 variables.
constexpr std::ptrdiff_t maxReferences = 90;

/// True when a class path does not need the folder in addition to the archives in it.
bool holdsArchivesOnly(const fs::path& folder) {
  std::error_code error;
  return std::all_of(fs::directory_iterator(folder, error), fs::directory_iterator(),
                     [](const fs::directory_entry& entry) {
                       const fs::path extension = entry.path().extension();
                       return extension == ".jar" || extension == ".zip";
                     });
}

/// The names of all files below the folder, as an archive has them, in order.
std::vector<std::string> filesBelow(const fs::path& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::recursive_directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->is_regular_file(error))
      names.push_back(entry->path().lexically_relative(folder).native());
  }
  std::sort(names.begin(), names.end());
  return names;
}

/// The files that the manifest names by absolute paths, and those that named ones name so.
class NamedArchives {
 public:
  std::vector<std::string> of(const std::string& element) {
    found_.clear();
    look(element);
    return found_;
  }

 private:
  void look(const std::string& archive) {
    if (seen_.size() == enough || !seen_.insert(archive).second) return;
    for (const ManifestElement& named : manifestClassPath(archive)) {
      std::error_code error;
      if (!fs::is_regular_file(named.path, error)) continue;
      if (named.isAbsolute) found_.push_back(named.path);
      look(named.path);
    }
  }

  static constexpr std::size_t enough = 1000;
  std::set<std::string> seen_;
  std::vector<std::string> found_;
};

}  // namespace

std::vector<std::string> withNamedArchives(const std::vector<std::string>& classPath) {
  NamedArchives named;
  std::set<std::string> known(classPath.begin(), classPath.end());
  std::vector<std::string> all;
  for (const std::string& element : classPath) {
    all.push_back(element);
    for (const std::string& archive : named.of(element)) {
      if (known.insert(archive).second) all.push_back(archive);
    }
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
    value += relative ? "%kvf.file.dir%/" + spelledInPropertiesFile(path.substr(start.size()))
                      : spelledInPropertiesFile(path);
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
  for (const std::string& name : filesBelow(folder)) {
    if (!archive.add(name, readWhole(folder / name)))
      throw FileError(concat({folder.native(), " is too large for an archive"}));
  }
  return std::move(archive).finish();
}
