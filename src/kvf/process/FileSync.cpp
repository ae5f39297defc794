#include "kvf/process/FileSync.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "kvf/process/Descriptor.h"
#include "kvf/process/FileError.h"
#include "kvf/process/FileReading.h"

namespace fs = std::filesystem;

void syncFile(int descriptor, const fs::path& file) {
  // Not every file system can.
  if (::fsync(descriptor) != 0 && errno != EINVAL && errno != EROFS)
    throw FileError("write", file, errno);
}

void syncFile(const fs::path& file) {
  syncFile(openToRead(file).number(), file);
}

void syncFolder(const fs::path& folder) noexcept {
  const Descriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  static_cast<void>(::fsync(opened.number()) == 0);
}

void syncFileSystem(const fs::path& inside) {
  const Descriptor folder(::open(inside.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (folder.number() < 0 || ::syncfs(folder.number()) != 0)
    throw FileError("write", inside, errno);
}
