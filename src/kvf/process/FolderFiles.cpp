#include "kvf/process/FolderFiles.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <set>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <sys/stat.h>

#include "kvf/process/FileError.h"
#include "kvf/process/Interruption.h"

namespace fs = std::filesystem;

namespace {

class Walk {
 public:
  std::vector<std::string> namesBelow(const fs::path& folder) {
    look(folder, {});
    std::sort(names_.begin(), names_.end());
    return std::move(names_);
  }

 private:
  void look(const fs::path& path, const std::string& name) {
    InterruptionWatch::look();
    struct stat status = {};
    if (::stat(path.c_str(), &status) != 0) {
      if (errno == ENOENT || errno == ELOOP) return;
      throw FileError("read", path, errno);
    }
    if (S_ISREG(status.st_mode)) names_.push_back(name);
    if (S_ISDIR(status.st_mode)) enter(path, name, {status.st_dev, status.st_ino});
  }

  void enter(const fs::path& folder, const std::string& name,
             const std::pair<dev_t, ino_t>& identity) {
    if (!onTheWay_.insert(identity).second) return;
    const std::string start = name.empty() ? name : name + "/";
    for (const std::string& entry : namesIn(folder)) look(folder / entry, start + entry);
    onTheWay_.erase(identity);
  }

  std::set<std::pair<dev_t, ino_t>> onTheWay_;
  std::vector<std::string> names_;
};

}  // namespace

std::vector<std::string> namesIn(const fs::path& folder) {
  struct Close {
    void operator()(DIR* stream) const { ::closedir(stream); }
  };
  const std::unique_ptr<DIR, Close> stream(::opendir(folder.c_str()));
  if (!stream) throw FileError("read", folder, errno);
  std::vector<std::string> names;
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(stream.get());
    if (entry == nullptr && errno != 0) throw FileError("read", folder, errno);
    if (entry == nullptr) return names;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
}

std::vector<std::string> filesBelow(const fs::path& folder) {
  return Walk().namesBelow(folder);
}
