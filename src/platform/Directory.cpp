#include "platform/Directory.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/WException.h"

namespace {

/// Without memory a directory is not one that cannot be read: what it holds would be missing
/// without a word.
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

EntryType Directory::type() {
  // A directory may be readable although nothing in it can be reached.
  if (!canLookUp_) canLookUp_ = lookUpType(".") == DT_DIR;
  if (!*canLookUp_) return EntryType::other;
  // Not every file system tells the type in the listing.
  const bool isTold = entry_->d_type != DT_UNKNOWN;
  const unsigned char type = isTold ? entry_->d_type : lookUpType(entry_->d_name);
  if (type == DT_DIR) return EntryType::directory;
  return type == DT_REG ? EntryType::regularFile : EntryType::other;
}

unsigned char Directory::lookUpType(const char* name) const {
  struct stat status = {};
  if (::fstatat(::dirfd(stream_), name, &status, AT_SYMLINK_NOFOLLOW) != 0) return DT_UNKNOWN;
  return static_cast<unsigned char>(IFTODT(status.st_mode));
}
