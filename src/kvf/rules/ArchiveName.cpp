#include "kvf/rules/ArchiveName.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "kvf/text/Text.h"
#include "platform/ArchiveListing.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t maxEntries = 100000;

/// A stage of a release, such as rc1, which is part of its version.
bool isStage(std::string_view rest) {
  constexpr std::string_view stages[] = {"final", "release", "ga",   "snapshot", "rc",
                                         "m",     "alpha",   "beta", "sp",       "cr"};
  std::string word;
  for (const char c : rest) {
    if (std::isalpha(static_cast<unsigned char>(c)) != 0) {
      word += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
  }
  return std::find(std::begin(stages), std::end(stages), word) != std::end(stages);
}

}  // namespace

ArchiveName archiveNameOf(const std::string& path) {
  const std::string name = fs::path(path).stem().string();
  for (std::size_t dash = 0; (dash = name.find('-', dash)) != std::string::npos; ++dash) {
    if (dash + 1 >= name.size() || std::isdigit(static_cast<unsigned char>(name[dash + 1])) == 0) {
      continue;
    }
    std::size_t end = std::min(name.find_first_not_of("0123456789.", dash + 1), name.size());
    while (name[end - 1] == '.') --end;
    std::string version = name.substr(dash + 1, end - dash - 1);
    std::string rest = name.substr(end);
    if (isStage(rest)) version += std::exchange(rest, {});
    return {name.substr(0, dash), version, rest};
  }
  return {name, {}, {}};
}

std::string archiveLike(const std::string& path) {
  if (!isArchiveFileName(path)) return {};
  const ArchiveName wanted = archiveNameOf(path);
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(fs::path(path).parent_path(), error);
       !error && entry != fs::directory_iterator() && names.size() < maxEntries;
       entry.increment(error)) {
    std::string name = entry->path().filename().string();
    if (!isArchiveFileName(name)) continue;
    if (archiveNameOf(name).isSameWithout(wanted)) return name;
    names.push_back(name);
  }
  return std::string(nearestName(fs::path(path).filename().string(), {names.begin(), names.end()}));
}
