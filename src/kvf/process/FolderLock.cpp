#include "kvf/process/FolderLock.h"

#include <cerrno>
#include <ctime>

#include <fcntl.h>
#include <sys/file.h>

#include "kvf/process/FileError.h"
#include "kvf/process/Interruption.h"

namespace fs = std::filesystem;

FolderLock::FolderLock(const fs::path& folder)
    : folder_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (folder_.number() < 0) throw FileError("lock", folder, errno);
  constexpr timespec pause = {0, 50'000'000};
  // A blocking wait would not end with a signal.
  while (::flock(folder_.number(), LOCK_EX | LOCK_NB) != 0) {
    // Not every file system can.
    if (errno == ENOLCK || errno == EOPNOTSUPP || errno == EINVAL) return;
    if (errno != EWOULDBLOCK && errno != EINTR) throw FileError("lock", folder, errno);
    InterruptionWatch::look();
    ::nanosleep(&pause, nullptr);
  }
}
