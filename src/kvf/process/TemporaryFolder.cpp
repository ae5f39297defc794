#include "kvf/process/TemporaryFolder.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "kvf/process/FileError.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

namespace {

fs::path placeForTemporaryFiles() {
  const char* named = std::getenv("TMPDIR");
  return named == nullptr || *named == '\0' ? "/tmp" : named;
}

/// Opens a folder to remove what is in it, or returns a negative number. Another user may put a
/// link in its place meanwhile.
int openToEmpty(int folder, const char* name) {
  const int found = ::openat(folder, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (found < 0) return found;
  // Without these rights nothing in it can be removed.
  constexpr std::string_view descriptors = "/proc/self/fd/";
  char path[descriptors.size() + std::numeric_limits<int>::digits10 + 2] = {};
  std::to_chars(std::copy(descriptors.begin(), descriptors.end(), path), std::end(path) - 1, found);
  static_cast<void>(::chmod(path, S_IRWXU) == 0);
  const int opened = ::openat(found, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const int error = errno;
  ::close(found);
  errno = error;
  return opened;
}

/// Removes the entry of the folder with all below it; 0, or an error number. Takes no memory.
int removeTree(int folder, const char* name) {
  if (::unlinkat(folder, name, 0) == 0) return 0;
  if (errno != EISDIR) return errno;
  const int opened = openToEmpty(folder, name);
  if (opened < 0) return errno;
  int error = 0;
  for (bool goesOn = true; goesOn && error == 0;) {
    goesOn = false;
    alignas(dirent64) char buffer[2048];
    ::lseek(opened, 0, SEEK_SET);
    for (long length = 0;
         (length = ::syscall(SYS_getdents64, opened, buffer, sizeof buffer)) > 0;) {
      for (long at = 0; at < length;) {
        const auto* entry = reinterpret_cast<const dirent64*>(buffer + at);
        at += entry->d_reclen;
        const std::string_view text = entry->d_name;
        if (text == "." || text == "..") continue;
        goesOn = true;
        if (const int failed = removeTree(opened, entry->d_name); failed != 0) error = failed;
      }
    }
  }
  ::close(opened);
  if (error != 0) return error;
  return ::unlinkat(folder, name, AT_REMOVEDIR) == 0 ? 0 : errno;
}

}  // namespace

TemporaryFolder::TemporaryFolder() : TemporaryFolder(placeForTemporaryFiles(), "kvf-") {}

TemporaryFolder::TemporaryFolder(const fs::path& parent, const std::string& prefix)
    : TemporaryFolder(concat({parent.native(), "/", prefix, "XXXXXX"})) {
  path_ = name_;
}

TemporaryFolder::TemporaryFolder(std::string pattern) : name_(std::move(pattern)) {
  if (::mkdtemp(name_.data()) != nullptr) return;
  const int error = errno;
  keep();
  throw FileError("make a folder in", fs::path(name_).parent_path(), error);
}

void TemporaryFolder::takeBack() noexcept {
  if (!std::exchange(isToBeRemoved_, false)) return;
  // A file may come in between.
  int error = removeTree(AT_FDCWD, name_.c_str());
  if (error != 0) error = removeTree(AT_FDCWD, name_.c_str());
  if (error != 0 && error != ENOENT) say({"cannot remove ", name_, ": ", std::strerror(error)});
}

void TemporaryFolder::giveToOwnerOfParent() const {
  struct stat status = {};
  if (::stat(path_.parent_path().c_str(), &status) != 0) return;
  static_cast<void>(::chown(path_.c_str(), status.st_uid, status.st_gid) == 0);
}
