#include "platform/ArchiveListing.h"

#include <utility>

#include "foundation/WString.h"
#include "platform/Directory.h"

namespace {

/// One listing: its limits and results, with the path of the directory being read.
class ArchiveWalk {
 public:
  ArchiveWalk(const char* directory, std::size_t maxCount, int maxDepth)
      : path_(directory), maxCount_(maxCount), maxDepth_(maxDepth) {}

  void enter(Directory directory, int level) {
    if (!directory) return;
    while (const char* name = directory.next()) {
      if (!visit(directory, name, level)) return;
    }
  }

  std::vector<WString> takeArchives() { return std::move(archives_); }

 private:
  /// False when the list is full, which ends the reading of this directory.
  bool visit(Directory& directory, const char* name, int level) {
    if (directory.isDirectory()) {
      const std::string_view text = name;
      if (text != "." && text != ".." && level < maxDepth_) enterChild(directory, name, level + 1);
      return true;
    }
    if (!isArchiveFileName(name) || !directory.isRegularFile()) return true;
    if (archives_.size() >= maxCount_) return false;
    archives_.push_back(path_ + "/" + name);
    return true;
  }

  void enterChild(const Directory& parent, const char* name, int level) {
    const unsigned int length = path_.length();
    path_ += '/';
    path_ += name;
    enter(parent.openChild(name), level);
    path_.erase(length);
  }

  WString path_;
  std::size_t maxCount_;
  int maxDepth_;
  std::vector<WString> archives_;
};

}  // namespace

bool isArchiveFileName(std::string_view name) {
  return name.find(".jar") != std::string_view::npos || name.find(".zip") != std::string_view::npos;
}

std::vector<WString> listArchives(const char* directory, std::size_t maxCount, int maxDepth) {
  return withMemoryException([&] {
    ArchiveWalk walk(directory, maxCount, maxDepth);
    walk.enter(Directory(directory), 1);
    return walk.takeArchives();
  });
}
