#include "kvf/process/TemporaryFolder.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

#include "kvf/process/FileError.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

fs::path newFolder(const fs::path& parent, const std::string& prefix) {
  std::string pattern = concat({parent.native(), "/", prefix, "XXXXXX"});
  if (::mkdtemp(pattern.data()) == nullptr) {
    const int error = errno;
    throw FileError("make a folder in", parent, error);
  }
  return pattern;
}

fs::path placeForTemporaryFiles() {
  const char* named = std::getenv("TMPDIR");
  return named == nullptr || *named == '\0' ? "/tmp" : named;
}

/// What is in a folder without rights for its owner cannot be removed.
void openFolders(const fs::path& root) {
  std::error_code error;
  fs::permissions(root, fs::perms::owner_all, fs::perm_options::add, error);
  for (fs::recursive_directory_iterator entry(root, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->symlink_status(error).type() == fs::file_type::directory)
      fs::permissions(entry->path(), fs::perms::owner_all, fs::perm_options::add, error);
  }
}

}  // namespace

TemporaryFolder::TemporaryFolder() : path_(newFolder(placeForTemporaryFiles(), "kvf-")) {}

TemporaryFolder::TemporaryFolder(const fs::path& parent, const std::string& prefix)
    : path_(newFolder(parent, prefix)) {}

TemporaryFolder::~TemporaryFolder() {
  if (path_.empty()) return;
  std::error_code error;
  fs::remove_all(path_, error);
  if (!error) return;
  openFolders(path_);
  fs::remove_all(path_, error);
  if (error) {
    std::fprintf(stderr, "kvf: cannot remove %s: %s\n", printable(path_.native()).c_str(),
                 error.message().c_str());
  }
}

void TemporaryFolder::giveToOwnerOfParent() const {
  struct stat status = {};
  if (::stat(path_.parent_path().c_str(), &status) != 0) return;
  static_cast<void>(::chown(path_.c_str(), status.st_uid, status.st_gid) == 0);
}
