#include "kvf/package/ArchiveCollection.h"

#include <algorithm>
#include <system_error>

#include "kvf/formats/Archive.h"

namespace fs = std::filesystem;

namespace {

bool isSameFile(const fs::path& left, const fs::path& right) {
  std::error_code error;
  return fs::equivalent(left, right, error);
}

bool isArchiveName(const fs::path& path) {
  return path.extension() == ".jar" || path.extension() == ".zip";
}

}  // namespace

void ArchiveCollection::add(const fs::path& archive) {
  const bool known = std::any_of(seen_.begin(), seen_.end(),
                                 [&](const fs::path& other) { return isSameFile(other, archive); });
  if (known) return;
  seen_.push_back(archive);

  std::vector<fs::path> after;
  for (const auto& [url, file, isAbsolute] : manifestClassPath(archive)) {
    if (std::error_code error; !fs::is_regular_file(file, error)) {
      notes_.push_back("the Class-Path of " + archive.filename().string() + " names " + url +
                       (fs::exists(file, error) ? ", which is not an archive: not copied"
                                                : ", which does not exist"));
    } else if (isAbsolute) {
      // The JVM follows the manifest of the copy, too. With the shipped archive in front, it is
      // found before one that another machine may have there.
      add(file);
    } else {
      after.push_back(file);
    }
  }
  archives_.push_back({archive, freeName(archive)});
  for (const fs::path& file : after) add(file);
}

void ArchiveCollection::addFolder(const fs::path& folder) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (isArchiveName(entry.path()) && entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const fs::path& file : files) add(file);
}

std::string ArchiveCollection::freeName(const fs::path& file) const {
  const auto taken = [this](const std::string& name) {
    return std::any_of(archives_.begin(), archives_.end(),
                       [&](const CollectedArchive& other) { return other.name == name; });
  };
  std::string name = file.filename();
  // A colon would end the element of the class path.
  std::replace(name.begin(), name.end(), ':', '_');
  const std::string stem = fs::path(name).stem();
  for (int number = 2; taken(name); ++number)
    name = stem + "-" + std::to_string(number) + file.extension().string();
  return name;
}

std::optional<std::string> ArchiveCollection::classBytes(const std::string& className) const {
  for (const CollectedArchive& archive : archives_) {
    if (auto bytes = Archive(archive.source).read(className + ".class")) return bytes;
  }
  return std::nullopt;
}
