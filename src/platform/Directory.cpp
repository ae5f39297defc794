#include "platform/Directory.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/WString.h"

namespace {

/// Without memory a directory is not one that cannot be read: what it holds would be silently
/// missing.
DIR* checked(DIR* stream) {
  if (stream == nullptr && errno == ENOMEM) {
    throw WException(WException::getDefaultMemoryException());
  }
  return stream;
}

}  // namespace

Directory::Directory(const char* path) : stream_(checked(::opendir(path))) {}

Directory::Directory(Directory&& other) noexcept : stream_(std::exchange(other.stream_, nullptr)) {}

Directory::~Directory() {
  if (stream_ != nullptr) ::closedir(stream_);
}

Directory Directory::openChild(const char* name) const {
  const int descriptor =
      ::openat(::dirfd(stream_), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (descriptor < 0) return Directory(static_cast<DIR*>(nullptr));
  DIR* stream = ::fdopendir(descriptor);
  if (stream == nullptr) {
    const int error = errno;
    ::close(descriptor);
    errno = error;
  }
  return Directory(checked(stream));
}

const char* Directory::next() {
  entry_ = ::readdir(stream_);
  return entry_ == nullptr ? nullptr : entry_->d_name;
}

bool Directory::isDirectory() const {
  // Not every file system tells the type in the listing.
  if (entry_->d_type != DT_UNKNOWN) return entry_->d_type == DT_DIR;
  return S_ISDIR(lookUpMode());
}

bool Directory::isRegularFile() const {
  return S_ISREG(lookUpMode());
}

mode_t Directory::lookUpMode() const {
  struct stat status = {};
  const int result = ::fstatat(::dirfd(stream_), entry_->d_name, &status, AT_SYMLINK_NOFOLLOW);
  return result == 0 ? status.st_mode : 0;
}
