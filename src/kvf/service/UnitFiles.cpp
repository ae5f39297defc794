#include "kvf/service/UnitFiles.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>

#include "kvf/process/FileError.h"
#include "kvf/process/FolderFiles.h"

namespace fs = std::filesystem;

namespace {

/// The first one wins.
constexpr const char* systemFolders[] = {"/etc/systemd/system", "/run/systemd/system",
                                         "/usr/local/lib/systemd/system", "/usr/lib/systemd/system",
                                         "/lib/systemd/system"};

/// What cannot be looked at is not taken for missing.
bool isThere(const fs::path& file) {
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (status.type() == fs::file_type::none) throw FileError("read", file, error.value());
  return fs::is_regular_file(status);
}

std::vector<std::string> namesIfThere(const fs::path& folder) {
  std::error_code error;
  const fs::file_status status = fs::status(folder, error);
  if (status.type() == fs::file_type::none) throw FileError("read", folder, error.value());
  return fs::is_directory(status) ? namesIn(folder) : std::vector<std::string>();
}

std::vector<fs::path> foldersFor(const fs::path& unitFile) {
  const fs::path folder = fs::absolute(unitFile).lexically_normal().parent_path();
  const bool isSystem = std::find(std::begin(systemFolders), std::end(systemFolders), folder) !=
                        std::end(systemFolders);
  if (isSystem) return {std::begin(systemFolders), std::end(systemFolders)};
  return {unitFile.parent_path()};
}

/// The names of a unit's drop-in folders, the most specific first.
std::vector<std::string> dropInFolderNames(const UnitName& name) {
  std::vector<std::string> names = {name.whole};
  if (name.hasAt && !name.instance.empty()) names.push_back(name.templateName());
  for (std::string prefix = name.prefix; prefix.size() > 1;) {
    // Not a dash at the end.
    prefix.resize(prefix.rfind('-', prefix.size() - 2) + 1);
    if (prefix.empty()) break;
    names.push_back(prefix + std::string(serviceSuffix));
  }
  names.emplace_back("service");
  return names;
}

}  // namespace

UnitName UnitName::of(std::string_view whole) {
  UnitName name;
  name.whole = whole;
  std::string_view stem = whole;
  if (stem.ends_with(serviceSuffix)) stem.remove_suffix(serviceSuffix.size());
  const std::size_t at = stem.find('@');
  name.hasAt = at != std::string_view::npos;
  name.prefix = stem.substr(0, at);
  if (name.hasAt) name.instance = stem.substr(at + 1);
  return name;
}

std::string UnitName::templateName() const {
  return hasAt ? prefix + "@" + std::string(serviceSuffix) : whole;
}

std::string findUnitFile(const std::string& file) {
  const fs::path given = file;
  std::vector<fs::path> folders = {given.parent_path()};
  if (folders.front().empty())
    folders.insert(folders.end(), std::begin(systemFolders), std::end(systemFolders));
  const std::string templateName = UnitName::of(given.filename().native()).templateName();
  for (const fs::path& folder : folders) {
    if (isThere(folder / given.filename())) return folder / given.filename();
    if (isThere(folder / templateName)) return folder / templateName;
  }
  return {};
}

std::vector<std::string> dropInsOf(const std::string& unitFile, const UnitName& name) {
  std::map<std::string, std::string> files;
  for (const std::string& unit : dropInFolderNames(name)) {
    for (const fs::path& folder : foldersFor(unitFile)) {
      const fs::path dropIns = folder / (unit + ".d");
      for (const std::string& file : namesIfThere(dropIns))
        if (!file.starts_with('.') && file.ends_with(".conf")) files.emplace(file, dropIns / file);
    }
  }
  std::vector<std::string> found;
  // A link to /dev/null masks those of its name in later folders.
  for (const auto& [fileName, path] : files)
    if (isThere(path)) found.push_back(path);
  return found;
}

bool isUserUnit(const std::string& unitFile) {
  return fs::absolute(unitFile).native().find("/systemd/user/") != std::string::npos;
}
