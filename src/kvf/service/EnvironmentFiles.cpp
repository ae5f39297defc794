#include "kvf/service/EnvironmentFiles.h"

#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <utility>

#include <glob.h>
#include <unistd.h>

#include "kvf/process/FileError.h"
#include "kvf/process/FileReading.h"
#include "kvf/service/UnitNote.h"

namespace fs = std::filesystem;

namespace {

bool isForbidden(const std::string& file) {
  return ::access(file.c_str(), R_OK) != 0 && errno == EACCES;
}

}  // namespace

std::vector<std::string> environmentFilesLike(const std::string& pattern) {
  if (pattern.find_first_of("*?[") == std::string::npos) return {pattern};
  glob_t found = {};
  const std::unique_ptr<glob_t, decltype(&::globfree)> owner(&found, ::globfree);
  if (::glob(pattern.c_str(), 0, nullptr, &found) != 0) return {};
  return {found.gl_pathv, found.gl_pathv + found.gl_pathc};
}

bool mayBeThere(const std::string& file) {
  return ::access(file.c_str(), F_OK) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

bool mayBeRead(const std::string& file) {
  return !isForbidden(file);
}

std::string environmentTextOf(const std::string& file) {
  if (isForbidden(file)) return {};
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (status.type() == fs::file_type::none) throw FileError("read", file, error.value());
  return fs::is_regular_file(status) ? readWhole(file) : std::string();
}

std::vector<std::string> forbiddenEnvironmentFiles(const UnitSettings& unit) {
  std::vector<std::string> reasons;
  std::vector<UnitNote> saidAlready;
  for (const UnitSetting* setting : unit.all("EnvironmentFile")) {
    const std::optional<std::string> name = unit.expanded(
        setting->value, UnitSettings::placeOf(*setting), UnitNote::Weight::losesPart, saidAlready);
    if (!name) continue;
    const std::size_t start = name->starts_with('-') ? 1 : 0;
    for (const std::string& file : environmentFilesLike(name->substr(start)))
      if (isForbidden(file)) reasons.emplace_back(FileError("read", file, EACCES).what());
  }
  return reasons;
}
