#include "platform/Directory.h"

#include <utility>

#include <fcntl.h>
#include <unistd.h>

Directory::Directory(const char* path) : stream_(::opendir(path)) {}

Directory::Directory(Directory&& other) noexcept : stream_(std::exchange(other.stream_, nullptr)) {}

Directory::~Directory() {
  if (stream_ != nullptr) ::closedir(stream_);
}

Directory Directory::openChild(const char* name) const {
  const int descriptor =
      ::openat(::dirfd(stream_), name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (descriptor < 0) return Directory(static_cast<DIR*>(nullptr));
  DIR* stream = ::fdopendir(descriptor);
  if (stream == nullptr) ::close(descriptor);
  return Directory(stream);
}

const char* Directory::next() {
  const dirent* entry = ::readdir(stream_);
  return entry == nullptr ? nullptr : entry->d_name;
}

bool Directory::status(const char* name, struct stat& status) const {
  return ::fstatat(::dirfd(stream_), name, &status, AT_SYMLINK_NOFOLLOW) == 0;
}
